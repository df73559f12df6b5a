#include "Services/ScreenCaptureService.h"

#include "Platform/Core/Background.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"

#include <QBuffer>
#include <QPointer>

#include <algorithm>

namespace corvane {

using platform::ScreenPicture;

namespace {

using namespace std::chrono_literals;

// The time within which a desktop has redrawn what was beneath a window, including its fading out.
constexpr auto redrawing = 250ms;

QByteArray toPng(const QImage& image) {
    QByteArray png;
    QBuffer buffer(&png);
    return buffer.open(QIODevice::WriteOnly) && image.save(&buffer, "PNG") ? png : QByteArray();
}

// Returns the whole points of the selection with two pixels for each in both directions, whatever the scale
// of the screen. The part of a drag beyond the edges of the screen is left out.
QImage cut(const ScreenPicture& picture, const QRectF& rect) {
    const auto seen = rect & QRectF(QPointF(), QSizeF(picture.size));
    const QSize points(std::max(1, static_cast<int>(seen.width())),
                       std::max(1, static_cast<int>(seen.height())));
    const auto scale = picture.pixelsPerPoint();
    const QPoint corner(qRound(seen.left() * scale), qRound(seen.top() * scale));
    const auto source = picture.image.copy(QRect(corner, points * scale) & picture.image.rect());
    if (source.isNull()) {
        return source;
    }
    // Pixels that are repeated a whole number of times stay sharp, so they are not smoothed.
    const auto doubled = 2 * points;
    const bool isMultiple = doubled == source.size() * (doubled.width() / source.width());
    return source.scaled(doubled, Qt::IgnoreAspectRatio,
                         isMultiple ? Qt::FastTransformation : Qt::SmoothTransformation);
}

} // namespace

struct ScreenCaptureService::Selection {
    QList<ScreenPicture> pictures; // of the screens as they were before they were dimmed
    bool isFinished = false;       // a rectangle has been drawn
    bool isCancelled = false;
};

ScreenCaptureService::ScreenCaptureService(platform::ScreenGrabber& grabber, platform::Clock& clock,
                                           Dependencies dependencies)
    : m_grabber(grabber)
    , m_clock(clock)
    , m_dependencies(std::move(dependencies)) {}

ScreenCaptureService::~ScreenCaptureService() = default;

void ScreenCaptureService::triggerScreenshot() {
    if (m_dependencies.mode() == ScreenshotMode::auto_) {
        platform::startTask(captureScreen(), "screenshot");
    } else {
        startRegionSelection();
    }
}

// Grabs the screens, once windows of ours that have just been closed are no longer on them.
QCoro::Task<QList<ScreenPicture>> ScreenCaptureService::grab() {
    const QPointer self(this);
    const auto past = m_closedAt ? m_clock.monotonic() - *m_closedAt : redrawing;
    if (past < redrawing) {
        auto drawing = m_clock.sleep(std::chrono::ceil<std::chrono::milliseconds>(redrawing - past));
        co_await std::move(drawing);
        if (!self) {
            throw platform::OperationCancelled();
        }
    }
    auto grabbing = m_grabber.grabScreens();
    auto pictures = co_await grabbing;
    co_return pictures;
}

QCoro::Task<QByteArray> ScreenCaptureService::captureFullScreen() {
    auto grabbing = grab();
    const auto pictures = co_await grabbing;
    if (pictures.isEmpty()) {
        throw CaptureError(CaptureError::noDisplay);
    }
    auto encoding = platform::inBackground([image = pictures.first().image] { return toPng(image); });
    const auto png = co_await std::move(encoding);
    if (png.isEmpty()) {
        throw CaptureError(CaptureError::noDisplay);
    }
    co_return png;
}

QCoro::Task<void> ScreenCaptureService::captureScreen() {
    const QPointer self(this);
    try {
        auto capturing = captureFullScreen();
        const auto png = co_await capturing;
        if (self) {
            Q_EMIT screenshotCaptured(png);
        }
    } catch (const platform::OperationCancelled&) {
    } catch (const std::exception& error) {
        if (self) {
            report(error);
        }
    }
}

void ScreenCaptureService::startRegionSelection() {
    closeOverlays();
    m_selection = std::make_shared<Selection>();
    platform::startTask(openSelection(m_selection), "region selection");
}

// The pictures are taken before the screens are dimmed, and the windows show them. So the user selects from
// the very pixels of the final picture, however long that takes and whatever changes beneath, including a
// menu or a tooltip that was open. The dimming is never in the picture, with a compositor or without.
QCoro::Task<void> ScreenCaptureService::openSelection(std::shared_ptr<Selection> selection) {
    const QPointer self(this);
    try {
        auto grabbing = grab();
        auto pictures = co_await grabbing;
        selection->pictures = std::move(pictures);
    } catch (const platform::OperationCancelled&) {
        co_return;
    } catch (const std::exception& error) {
        if (self && m_selection == selection) {
            m_selection.reset();
            report(error);
        }
        co_return;
    }
    if (!self || m_selection != selection) {
        co_return;
    }
    for (int index = 0; index < selection->pictures.size(); ++index) {
        auto window = m_dependencies.makeOverlay(index, selection->pictures.at(index));
        if (!window) {
            continue;
        }
        window->onSelectionComplete = [self](const QRectF& rect, int screenIndex) {
            if (self) {
                self->handleSelection(rect, screenIndex);
            }
        };
        window->onCancel = [self] {
            if (self) {
                self->cancelSelection();
            }
        };
        m_overlayWindows.push_back(std::move(window));
        m_overlayWindows.back()->orderFrontRegardless();
    }
}

void ScreenCaptureService::handleSelection(const QRectF& rect, int screenIndex) {
    // Only the first rectangle counts.
    if (m_selection && !m_selection->isFinished && screenIndex >= 0 &&
        screenIndex < m_selection->pictures.size()) {
        m_selection->isFinished = true;
        platform::startTask(captureSelection(m_selection, rect, screenIndex), "region capture");
    }
}

QCoro::Task<void> ScreenCaptureService::captureSelection(std::shared_ptr<Selection> selection, QRectF rect,
                                                         int screenIndex) {
    const QPointer self(this);
    auto encoding = platform::inBackground(
        [picture = selection->pictures.at(screenIndex), rect] { return toPng(cut(picture, rect)); });
    const auto png = co_await std::move(encoding);
    if (!self || selection->isCancelled) {
        co_return;
    }
    if (png.isEmpty()) {
        report(CaptureError(CaptureError::noDisplay));
    } else {
        Q_EMIT selectionCaptured(png);
    }
    if (self && m_selection == selection) {
        closeOverlays();
    }
}

void ScreenCaptureService::cancelSelection() {
    if (m_selection) {
        m_selection->isCancelled = true;
        closeOverlays();
        Q_EMIT captureCancelled();
    }
}

void ScreenCaptureService::closeOverlays() {
    m_selection.reset();
    if (m_overlayWindows.empty()) {
        return;
    }
    for (auto& window : m_overlayWindows) {
        window->orderOut();
        m_closedWindows.push_back(std::move(window));
    }
    m_overlayWindows.clear();
    m_closedAt = m_clock.monotonic();
    QMetaObject::invokeMethod(
        this, [this] { m_closedWindows.clear(); }, Qt::QueuedConnection);
}

void ScreenCaptureService::report(const std::exception& error) {
    const auto reason = platform::errorText(error);
    platform::printLine(QStringLiteral("[ScreenCapture] Error: %1").arg(reason));
    Q_EMIT captureFailed(reason);
}

} // namespace corvane
