#pragma once

#include "App/PlatformServices.h"
#include "Services/AnalyticsService.h"
#include "Services/InterviewDetectorService.h"
#include "Services/ShortcutService.h"
#include "ViewModels/ApplicationWindows.h"

#include <QCoroTask>
#include <QList>
#include <QObject>
#include <QUrl>

#include <memory>
#include <stdexcept>

namespace corvane {

class AppSettingsPresenter;
class AudioCaptureService;
class ChatsViewModel;
class ClerkAuthService;
class ClerkClient;
class ClerkHTTPExecutor;
class CompletionViewModel;
class CorvaneAPIService;
class CustomProviderService;
class DashboardPresenter;
class DashboardViewModel;
class DatabaseService;
class InterviewViewModel;
class KeychainService;
class OverlayBarPresenter;
class OverlayViewModel;
class ScreenCaptureService;
class ScreenshotConsumer;
class SettingsViewModel;
class SilenceWatch;
class SystemAudioViewModel;
class UpdateDialogPresenter;
class UpdaterService;
class WebSocketService;

// Thrown when the installation is broken and the program cannot start. what() says what is wrong.
class LaunchError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The composition root: builds every service and view model in a fixed order, wires them, and answers the
// application's events. Main thread. One instance for the life of the process.
class AppDelegate : public QObject, public ApplicationWindows, public ShortcutServiceDelegate {
    Q_OBJECT

public:
    explicit AppDelegate(PlatformServices platform);
    ~AppDelegate() override;

    // Starts reading the items that the launch needs from the secret store.
    static void readAhead(platform::SecretStore& secrets);
    // Runs the launch sequence. Throws LaunchError.
    void applicationDidFinishLaunching();
    // Opens the interview that the first link (corvane://interview/<id>) names. Ignores any further links.
    void open(const QStringList& links);
    // Tells the user that another instance is running but does not respond. This one is about to end.
    void reportHungInstance();
    // Brings the bar forward when the program is started or activated again. Always returns true.
    bool applicationShouldHandleReopen();
    void applicationWillTerminate();

    FloatingPanelController* floatingPanel() const override { return m_floatingPanel.get(); }
    void showDashboard() override;
    void setContentProtected(bool isProtected) override;
    void setActivationPolicy(ActivationPolicy policy) override;
    void terminate() override;
    // Returns whether the program is to be started again once it has ended.
    bool wantsRestart() const { return m_wantsRestart; }
    void toggleDashboard();
    void toggleFloatingPanel();
    // Brings the bar forward and gives the keyboard to its id field.
    void focusInput();
    // Queues the action of the shortcut and returns at once.
    void shortcutTriggered(ShortcutAction action) override;

    DatabaseService& databaseService() const { return *m_databaseService; }
    KeychainService& keychainService() const { return *m_keychainService; }
    ClerkAuthService& clerkAuthService() const { return *m_clerkAuthService; }
    CorvaneAPIService& apiService() const { return *m_apiService; }
    WebSocketService& webSocketService() const { return *m_webSocketService; }
    AudioCaptureService& audioCaptureService() const { return *m_audioCaptureService; }
    ScreenCaptureService& screenCaptureService() const { return *m_screenCaptureService; }
    ShortcutService& shortcutService() const { return *m_shortcutService; }
    SettingsViewModel& settingsViewModel() const { return *m_settingsViewModel; }
    OverlayViewModel& overlayViewModel() const { return *m_overlayViewModel; }
    DashboardViewModel& dashboardViewModel() const { return *m_dashboardViewModel; }
    OverlayBarPresenter& overlayBarPresenter() const { return *m_overlayBarPresenter; }
    CompletionViewModel& completionViewModel() const { return *m_completionViewModel; }
    ChatsViewModel& chatsViewModel() const { return *m_chatsViewModel; }
    InterviewViewModel& interviewViewModel() const { return *m_interviewViewModel; }
    SystemAudioViewModel& systemAudioViewModel() const { return *m_systemAudioViewModel; }
    // Must not be called in a build without the updater.
    UpdaterService& updaterService() const;

private:
    void initializeServices();
    std::unique_ptr<ScreenCaptureService> makeScreenCaptureService();
    void initializeViewModels();
    // These do nothing in a build without the updater.
    void makeUpdater();
    void startUpdater();
    void setUpdateWindowPolicy(ActivationPolicy policy);
    void addUpdaterCard(AppSettingsPresenter& page);
    void restart();
    void setupFloatingPanel();
    void buildDashboard();
    void applyPersistedSettings();
    ActivationPolicy storedActivationPolicy() const;
    void showFirstWindows();
    void showPanel();
    void hidePanel();
    void followSignedInState();
    void autoConnectWebSocket();
    QCoro::Task<void> connectWebSocket(QString baseURL);
    void perform(ShortcutAction action);
    void movePanel(QPoint by);
    void toggleSystemAudio();
    void handleDeepLinkInterview(const QString& id);
    void waitForSession(const QString& id);
    QString storedBackendUrl();
    std::optional<QString> infoValue(const char* key) const;

    PlatformServices m_platform;

    std::unique_ptr<DatabaseService> m_databaseService;
    std::unique_ptr<KeychainService> m_keychainService;
    std::unique_ptr<ClerkHTTPExecutor> m_clerkExecutor;
    std::unique_ptr<ClerkClient> m_clerkClient;
    std::unique_ptr<ClerkAuthService> m_clerkAuthService;
    std::unique_ptr<CorvaneAPIService> m_apiService;
    std::unique_ptr<CustomProviderService> m_customProviderService;
    std::unique_ptr<WebSocketService> m_webSocketService;
    std::unique_ptr<AudioCaptureService> m_audioCaptureService;
    std::unique_ptr<SilenceWatch> m_silenceWatch;
    std::unique_ptr<ScreenCaptureService> m_screenCaptureService;
    std::unique_ptr<ShortcutService> m_shortcutService;
    AnalyticsService m_analyticsService;
    InterviewDetectorService m_interviewDetectorService;
#ifdef CORVANE_UPDATER
    std::unique_ptr<UpdaterService> m_updaterService;
#endif

    std::unique_ptr<SettingsViewModel> m_settingsViewModel;
    std::unique_ptr<CompletionViewModel> m_completionViewModel;
    std::unique_ptr<ChatsViewModel> m_chatsViewModel;
    std::unique_ptr<SystemAudioViewModel> m_systemAudioViewModel;
    std::unique_ptr<InterviewViewModel> m_interviewViewModel;
    std::unique_ptr<OverlayViewModel> m_overlayViewModel;
    std::unique_ptr<DashboardViewModel> m_dashboardViewModel;
    std::unique_ptr<ScreenshotConsumer> m_screenshotConsumer;

    std::unique_ptr<OverlayBarPresenter> m_overlayBarPresenter;
    std::unique_ptr<FloatingPanelController> m_floatingPanel;
    std::unique_ptr<DashboardPresenter> m_dashboardPresenter;
    // Created when the dashboard is shown for the first time.
    std::unique_ptr<DashboardWindow> m_dashboardController;
#ifdef CORVANE_UPDATER
    std::unique_ptr<UpdateDialogPresenter> m_updateDialogPresenter;
    std::unique_ptr<AuxiliaryWindow> m_updateWindow;
#endif

    // The context of the connections with which a deep link waits for a session: replacing it cancels the
    // wait.
    std::unique_ptr<QObject> m_deepLinkCancellable;
    QMetaObject::Connection m_authCancellable;
    QString m_pendingDeepLinkInterviewId;
    bool m_isLaunched = false;
    bool m_wantsRestart = false;
};

} // namespace corvane
