#pragma once

#include "Models/SettingsModels.h"
#include "Platform/Core/Clock.h"
#include "Platform/Screen/ScreenGrabber.h"
#include "Services/SelectionOverlay.h"

#include <QCoroTask>
#include <QObject>
#include <QRectF>

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace corvane {

// Takes a picture of the first screen, or of a rectangle that the user draws on any screen. Main thread,
// except that pictures are cut and compressed beside it.
class ScreenCaptureService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isCapturing READ isCapturing NOTIFY isCapturingChanged)

public:
    // What the service is given instead of the settings and the windows, which stand above it.
    struct Surroundings {
        // Nothing while there are no settings.
        std::function<std::optional<ScreenshotMode>()> mode;
        // The window over the screen with that index; null when the screen is gone.
        std::function<std::unique_ptr<SelectionOverlay>(int screenIndex, const platform::ScreenPicture&)>
            makeOverlay;
    };

    ScreenCaptureService(platform::ScreenGrabber& grabber, platform::Clock& clock, Surroundings surroundings);
    ~ScreenCaptureService() override;

    bool isCapturing() const { return m_isCapturing; }
    const std::vector<std::unique_ptr<SelectionOverlay>>& overlayWindows() const { return m_overlayWindows; }

    // For the screenshot shortcut: goes the way that the settings name.
    void triggerScreenshot();
    // Dims all screens. A selection under way starts anew.
    void startRegionSelection();
    // The first screen as PNG, a pixel for a pixel. Throws CaptureError or platform::ScreenGrabError.
    QCoro::Task<QByteArray> captureFullScreen();
    // Ends the selection with a picture of `rect` (points from the screen's top left corner), twice as many
    // pixels each way as whole points. Does nothing for an index without a screen.
    void handleSelection(const QRectF& rect, int screenIndex);

Q_SIGNALS:
    void isCapturingChanged();
    void screenshotCaptured(const QByteArray& png);
    void selectionCaptured(const QByteArray& png);
    void captureCancelled();
    // Nothing was captured, after the log has said so.
    void captureFailed(const QString& reason);

private:
    struct Selection;

    QCoro::Task<QList<platform::ScreenPicture>> grab();
    QCoro::Task<void> captureScreen();
    QCoro::Task<void> openSelection(std::shared_ptr<Selection> selection);
    QCoro::Task<void> captureSelection(std::shared_ptr<Selection> selection, QRectF rect, int screenIndex);
    void cancelSelection();
    void closeOverlays();
    void report(const std::exception& error);

    platform::ScreenGrabber& m_grabber;
    platform::Clock& m_clock;
    const Surroundings m_surroundings;
    const bool m_isCapturing = false;

    std::shared_ptr<Selection> m_selection; // while its windows are up, and before
    std::vector<std::unique_ptr<SelectionOverlay>> m_overlayWindows;
    // They may be taken down from within an event of theirs.
    std::vector<std::unique_ptr<SelectionOverlay>> m_closedWindows;
    std::optional<std::chrono::nanoseconds> m_closedAt;
};

} // namespace corvane
