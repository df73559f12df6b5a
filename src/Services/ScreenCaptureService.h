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

// Takes a picture of the first screen, or of a rectangle that the user draws on any screen. Main thread;
// pictures are cropped and compressed on the thread pool.
class ScreenCaptureService : public QObject {
    Q_OBJECT
    Q_PROPERTY(bool isCapturing READ isCapturing NOTIFY isCapturingChanged)

public:
    // What the service needs from the layers above it, the settings and the windows.
    struct Dependencies {
        // Returns nullopt while there are no settings.
        std::function<std::optional<ScreenshotMode>()> mode;
        // Returns the window over the screen with that index, or null when the screen is gone.
        std::function<std::unique_ptr<SelectionOverlay>(int screenIndex, const platform::ScreenPicture&)>
            makeOverlay;
    };

    ScreenCaptureService(platform::ScreenGrabber& grabber, platform::Clock& clock, Dependencies dependencies);
    ~ScreenCaptureService() override;

    bool isCapturing() const { return m_isCapturing; }
    const std::vector<std::unique_ptr<SelectionOverlay>>& overlayWindows() const { return m_overlayWindows; }

    // Takes a screenshot in the mode that the settings name.
    void triggerScreenshot();
    // Dims all screens and lets the user draw a rectangle. A selection that is under way starts again.
    void startRegionSelection();
    // Returns the first screen as a PNG, pixel for pixel. Throws CaptureError or platform::ScreenGrabError.
    QCoro::Task<QByteArray> captureFullScreen();
    // Ends the selection with a picture of `rect` (in points from the top left corner of the screen) that has
    // two pixels for each whole point in both directions. Does nothing when there is no screen with that
    // index.
    void handleSelection(const QRectF& rect, int screenIndex);

Q_SIGNALS:
    void isCapturingChanged();
    void screenshotCaptured(const QByteArray& png);
    void selectionCaptured(const QByteArray& png);
    void captureCancelled();
    // No picture was taken. The reason has been printed.
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
    const Dependencies m_dependencies;
    const bool m_isCapturing = false;

    std::shared_ptr<Selection> m_selection; // from its start until its windows are closed
    std::vector<std::unique_ptr<SelectionOverlay>> m_overlayWindows;
    // Windows that have been closed. They are destroyed later, since one of their own events may be closing
    // them.
    std::vector<std::unique_ptr<SelectionOverlay>> m_closedWindows;
    std::optional<std::chrono::nanoseconds> m_closedAt;
};

} // namespace corvane
