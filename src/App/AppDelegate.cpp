#include "App/AppDelegate.h"

#include "App/DeepLink.h"
#include "App/MachineId.h"
#include "Platform/Core/Log.h"
#include "Platform/Core/Tasks.h"
#include "Services/AudioCaptureService.h"
#include "Services/ClerkAuthService.h"
#include "Services/ClerkClient.h"
#include "Services/ClerkConfig.h"
#include "Services/CorvaneAPIService.h"
#include "Services/CustomProviderService.h"
#include "Services/DatabaseService.h"
#include "Services/KeychainService.h"
#include "Services/ScreenCaptureService.h"
#include "Services/SilenceWatch.h"
#include "ViewModels/ChatsViewModel.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/DashboardViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/OverlayViewModel.h"
#include "ViewModels/ScreenshotConsumer.h"
#include "ViewModels/SettingsViewModel.h"
#include "ViewModels/SystemAudioViewModel.h"
#include "Views/Dashboard/DashboardPresenter.h"
#include "Views/Overlay/OverlayBarPresenter.h"
#include "Views/Shared/Theme.h"
#ifdef CORVANE_UPDATER
#include "Services/UpdaterService.h"
#include "Views/Updates/UpdateDialogPresenter.h"
#endif
#include "Services/WebSocketService.h"

#include <QCoreApplication>

namespace corvane {

using platform::logLine;
using platform::startTask;

namespace {

constexpr auto secretServiceName = "com.corvane.interview-assistant";
constexpr auto devBrowserItem = "clerk_dev_browser_jwt";
constexpr auto backendUrlKey = "corvane_api_url";
constexpr auto defaultEndpointKey = "CORVANE_DEFAULT_ENDPOINT";
constexpr auto ONBOARDING_VIDEO_URL = "CORVANE_ONBOARDING_VIDEO_URL";
constexpr auto platformSignUpKey = "CORVANE_PLATFORM_SIGN_UP_URL";
constexpr auto analyticsVariable = "POSTHOG_API_KEY";

ClerkConfig loadClerkConfig(const platform::ApplicationInfo& info) {
    try {
        return ClerkConfig::fromBundle(info);
    } catch (const std::exception& error) {
        throw LaunchError("CLERK_PUBLISHABLE_KEY missing/invalid in Info.plist: " +
                          std::string(error.what()));
    }
}

ClerkClient::DevBrowserStorage devBrowserStorage(KeychainService& keychain) {
    const auto item = QString::fromLatin1(devBrowserItem);
    return {
        .load = [&keychain, item] { return keychain.get(item); },
        .save = [&keychain, item](const platform::Secret& token) { keychain.save(item, token); },
        .clear = [&keychain, item] { keychain.remove(item); },
    };
}

} // namespace

AppDelegate::AppDelegate(PlatformServices platform)
    : m_platform(std::move(platform)) {}

AppDelegate::~AppDelegate() {
    QObject::disconnect(m_authCancellable);
    Theme::shared().follow(nullptr);
    // The capture threads report to the models, so the capture has to stop first.
    if (m_audioCaptureService) {
        m_audioCaptureService->stopMicrophoneCapture();
        m_audioCaptureService->stopSystemCapture();
    }
}

void AppDelegate::readAhead(platform::SecretStore& secrets) {
    secrets.readAhead(QString::fromLatin1(secretServiceName),
                      QStringList(QString::fromLatin1(devBrowserItem)) + ClerkAuthService::storedItems());
}

std::optional<QString> AppDelegate::infoValue(const char* key) const {
    return m_platform.applicationInfo.string(QLatin1String(key));
}

void AppDelegate::applicationDidFinishLaunching() {
    const auto unknown = QStringLiteral("?");
    logLine(QStringLiteral("==== Corvane Lumetra launched: v%1 (build %2) ====")
                .arg(infoValue("CFBundleShortVersionString").value_or(unknown),
                     infoValue("CFBundleVersion").value_or(unknown)));
    if (!m_platform.systemAccess->screenCaptureAllowed()) {
        m_platform.systemAccess->requestScreenCapture();
    }
    initializeServices();
    initializeViewModels();
    setupFloatingPanel();
    applyPersistedSettings();
    m_shortcutService->registerAll();
    autoConnectWebSocket();
    showFirstWindows();
    startUpdater();
    m_isLaunched = true;
    if (const auto id = std::exchange(m_pendingDeepLinkInterviewId, QString()); !id.isEmpty()) {
        handleDeepLinkInterview(id);
    }
    m_authCancellable = connect(m_clerkAuthService.get(), &ClerkAuthService::stateChanged, this,
                                &AppDelegate::followSignedInState);
    // A subscription delivers the current value first, from the event loop.
    QMetaObject::invokeMethod(this, &AppDelegate::followSignedInState, Qt::QueuedConnection);
}

void AppDelegate::initializeServices() {
    auto& clock = *m_platform.clock;
    m_databaseService = std::make_unique<DatabaseService>(m_platform.dataFolder, clock);
    m_keychainService =
        std::make_unique<KeychainService>(QString::fromLatin1(secretServiceName), *m_platform.secrets);
    const auto config = loadClerkConfig(m_platform.applicationInfo);
    m_clerkExecutor = std::make_unique<URLSessionClerkExecutor>(*m_platform.identityHttp);
    m_clerkClient =
        std::make_unique<ClerkClient>(config, *m_clerkExecutor, devBrowserStorage(*m_keychainService));
    m_clerkAuthService = std::make_unique<ClerkAuthService>(*m_clerkClient, *m_keychainService, clock);
    m_apiService =
        std::make_unique<CorvaneAPIService>(storedBackendUrl(), m_clerkAuthService.get(),
                                            *m_platform.backendHttp, loadMachineId(*m_platform.defaults));
    m_customProviderService =
        std::make_unique<CustomProviderService>(*m_platform.defaults, *m_platform.backendHttp);
    m_webSocketService =
        std::make_unique<WebSocketService>(*m_platform.webSockets, clock, m_platform.connectivity.get());
    m_webSocketService->setApiService(m_apiService.get());
    m_webSocketService->setAuth(m_clerkAuthService.get());
    m_audioCaptureService = std::make_unique<AudioCaptureService>(*m_platform.audio, clock);
    m_silenceWatch = std::make_unique<SilenceWatch>(*m_audioCaptureService, *m_platform.audio);
    m_screenCaptureService = makeScreenCaptureService();
    m_shortcutService =
        std::make_unique<ShortcutService>(*this, *m_platform.keys, *m_platform.defaults, clock);
    if (m_platform.environment.contains(QLatin1String(analyticsVariable))) {
        m_analyticsService.apiKey =
            platform::Secret(m_platform.environment.value(QLatin1String(analyticsVariable)));
    }
    makeUpdater();
}

std::unique_ptr<ScreenCaptureService> AppDelegate::makeScreenCaptureService() {
    return std::make_unique<ScreenCaptureService>(
        *m_platform.screens, *m_platform.clock,
        ScreenCaptureService::Dependencies{
            .mode =
                [this] {
                    return m_settingsViewModel ? std::optional(m_settingsViewModel->screenshotConfig().mode)
                                               : std::nullopt;
                },
            .makeOverlay =
                [this](int index, const platform::ScreenPicture& picture) {
                    return m_platform.windows->makeSelectionOverlay(index, picture);
                }});
}

void AppDelegate::initializeViewModels() {
    auto& clock = *m_platform.clock;
    auto& defaults = *m_platform.defaults;
    m_settingsViewModel = std::make_unique<SettingsViewModel>(
        *m_databaseService, *m_keychainService,
        SettingsViewModel::Dependencies{defaults, *m_platform.appearance, *m_platform.loginItem, *this});
    m_completionViewModel = std::make_unique<CompletionViewModel>(
        *m_webSocketService, *m_apiService, *m_databaseService, *m_customProviderService, defaults, clock);
    m_chatsViewModel = std::make_unique<ChatsViewModel>(*m_databaseService);
    m_overlayViewModel = std::make_unique<OverlayViewModel>(*m_webSocketService, *m_settingsViewModel, *this);
    m_interviewViewModel =
        std::make_unique<InterviewViewModel>(*m_webSocketService, *m_apiService, *m_audioCaptureService,
                                             *m_platform.systemAccess, defaults, clock);
    m_interviewViewModel->chatSubmitHandler =
        [model = QPointer(m_completionViewModel.get())](const QString& text) {
            if (model) {
                model->setInput(text);
                model->submit();
            }
        };
    m_interviewViewModel->onInterviewEnded = [model = QPointer(m_completionViewModel.get()),
                                              overlay = QPointer(m_overlayViewModel.get())] {
        if (model && overlay) {
            model->clearAfterInterview();
            overlay->collapsePanel();
        }
    };
    m_systemAudioViewModel = std::make_unique<SystemAudioViewModel>(
        *m_audioCaptureService, *m_webSocketService, *m_platform.systemAccess);
    m_interviewViewModel->setSystemAudioViewModel(m_systemAudioViewModel.get());
    m_dashboardViewModel = std::make_unique<DashboardViewModel>();
    m_screenshotConsumer = std::make_unique<ScreenshotConsumer>(
        *m_screenCaptureService, *m_settingsViewModel, *m_interviewViewModel, *m_completionViewModel,
        ScreenshotConsumer::Dependencies{*m_platform.clipboard, *m_platform.notifications}, clock);
}

void AppDelegate::setupFloatingPanel() {
    Theme::shared().follow(m_platform.appearance.get());
    m_overlayBarPresenter = std::make_unique<OverlayBarPresenter>(
        *m_completionViewModel, *m_overlayViewModel, *m_interviewViewModel, *m_settingsViewModel,
        *m_webSocketService, *this, *m_platform.systemAccess, *m_platform.defaults, *m_platform.clock,
        infoValue(ONBOARDING_VIDEO_URL).value_or(QString()));
    m_overlayBarPresenter->response()->follow(*m_silenceWatch);
    m_floatingPanel = m_platform.windows->makeFloatingPanel(*m_overlayBarPresenter);
    if (m_clerkAuthService->isSignedIn()) {
        m_floatingPanel->orderFrontRegardless();
    }
}

void AppDelegate::applyPersistedSettings() {
    const auto& state = m_settingsViewModel->customizable();
    setContentProtected(state.contentProtected.isEnabled);
    m_floatingPanel->setLevel(state.alwaysOnTop.isEnabled ? WindowLevel::floating : WindowLevel::normal);
    setActivationPolicy(storedActivationPolicy());
}

ActivationPolicy AppDelegate::storedActivationPolicy() const {
    return m_settingsViewModel->customizable().appIcon.isVisible ? ActivationPolicy::regular
                                                                 : ActivationPolicy::accessory;
}

// The user is waiting for the bar, so it is painted first, and it is raised again at the end.
void AppDelegate::showFirstWindows() {
    if (!m_floatingPanel->isVisible()) {
        showDashboard();
        return;
    }
    m_floatingPanel->whenPainted([this] {
        showDashboard();
        m_dashboardController->whenPainted([this] {
            if (m_floatingPanel->isVisible()) {
                m_floatingPanel->orderFrontRegardless();
            }
        });
    });
}

void AppDelegate::showPanel() {
    m_floatingPanel->orderFrontRegardless();
    m_overlayViewModel->setIsHidden(false);
}

void AppDelegate::hidePanel() {
    m_floatingPanel->orderOut();
    m_overlayViewModel->setIsHidden(true);
}

void AppDelegate::buildDashboard() {
    DashboardPresenter::Pages pages;
    pages.gate = std::make_unique<AuthGatePresenter>(*m_clerkAuthService, *m_platform.systemAccess,
                                                     infoValue(platformSignUpKey).value_or(QString()));
    pages.settings = std::make_unique<AppSettingsPresenter>(*m_settingsViewModel, *m_platform.systemAccess);
    addUpdaterCard(*pages.settings);
    pages.audio = std::make_unique<AudioSettingsPresenter>(*m_settingsViewModel, *m_audioCaptureService,
                                                           *m_platform.systemAccess);
    pages.setup =
        std::make_unique<CorvaneSetupPresenter>(*m_webSocketService, *m_apiService, *m_databaseService,
                                                infoValue(defaultEndpointKey).value_or(QString()));
    pages.shortcuts = std::make_unique<ShortcutsPresenter>(*m_settingsViewModel, *m_shortcutService);
    m_dashboardPresenter = std::make_unique<DashboardPresenter>(
        *m_dashboardViewModel, std::move(pages), *this, infoValue("CFBundleShortVersionString"));
    m_dashboardController = m_platform.windows->makeDashboard(*m_dashboardPresenter, *m_platform.defaults);
    m_dashboardController->setActivationPolicy(storedActivationPolicy());
}

void AppDelegate::showDashboard() {
    if (!m_dashboardController) {
        buildDashboard();
    }
    m_dashboardController->showWindow();
}

void AppDelegate::toggleDashboard() {
    if (m_dashboardController && m_dashboardController->isVisible()) {
        m_dashboardController->orderOut();
    } else {
        showDashboard();
    }
}

void AppDelegate::setContentProtected(bool isProtected) {
    const auto type = isProtected ? SharingType::none : SharingType::readOnly;
    m_floatingPanel->setSharingType(type);
    if (m_dashboardController) {
        m_dashboardController->setSharingType(type);
    }
}

void AppDelegate::setActivationPolicy(ActivationPolicy policy) {
    m_floatingPanel->setActivationPolicy(policy);
    if (m_dashboardController) {
        m_dashboardController->setActivationPolicy(policy);
    }
    setUpdateWindowPolicy(policy);
}

void AppDelegate::terminate() {
    // quit() would be refused by a window that only hides when it is closed.
    QCoreApplication::exit();
}

void AppDelegate::toggleFloatingPanel() {
    if (m_floatingPanel->isVisible()) {
        hidePanel();
    } else {
        showPanel();
    }
}

void AppDelegate::focusInput() {
    showPanel();
    m_overlayViewModel->setShouldFocusInput(true);
}

QString AppDelegate::storedBackendUrl() {
    const auto stored = m_databaseService->getSetting(QString::fromLatin1(backendUrlKey));
    return stored ? *stored : infoValue(defaultEndpointKey).value_or(QString());
}

void AppDelegate::autoConnectWebSocket() {
    const auto baseURL = storedBackendUrl();
    if (baseURL.isEmpty()) {
        return;
    }
    m_apiService->setBaseURL(baseURL);
    // A launch gets here twice; by the second time the link may be up.
    const bool isUp = m_webSocketService->isConnected() && !m_webSocketService->authError();
    if (!m_clerkAuthService->isSignedIn() || isUp) {
        return;
    }
    startTask(connectWebSocket(baseURL), "connect");
}

QCoro::Task<void> AppDelegate::connectWebSocket(QString baseURL) {
    co_await m_webSocketService->connect(baseURL);
}

void AppDelegate::followSignedInState() {
    if (m_clerkAuthService->isSignedIn()) {
        showPanel();
        autoConnectWebSocket();
    } else {
        hidePanel();
        m_webSocketService->disconnect();
    }
}

void AppDelegate::open(const QStringList& links) {
    if (links.isEmpty()) {
        return;
    }
    const auto id = interviewIdFromLink(links.first());
    if (!id) {
        return;
    }
    logLine(QStringLiteral("[DeepLink] Received interview ID: %1").arg(*id));
    if (m_isLaunched) {
        handleDeepLinkInterview(*id);
    } else {
        m_pendingDeepLinkInterviewId = *id;
    }
}

void AppDelegate::handleDeepLinkInterview(const QString& id) {
    showPanel();
    m_interviewViewModel->setInterviewId(id);
    if (m_interviewViewModel->status() != InterviewStatus::idle) {
        return;
    }
    if (m_webSocketService->isConnected()) {
        m_interviewViewModel->startInterviewWithId();
        return;
    }
    logLine(QStringLiteral("[DeepLink] Waiting for WebSocket session…"));
    waitForSession(id);
}

void AppDelegate::waitForSession(const QString& id) {
    m_deepLinkCancellable = std::make_unique<QObject>();
    auto* context = m_deepLinkCancellable.get();
    const auto proceed = [this, id, context] {
        // Only the first event counts. Disconnecting does not remove one that is already queued.
        if (m_deepLinkCancellable.get() != context) {
            return;
        }
        // The context is delivering this event and must outlive it.
        auto* wait = m_deepLinkCancellable.release();
        m_webSocketService->QObject::disconnect(wait);
        wait->deleteLater();
        logLine(QStringLiteral("[DeepLink] Session ready — starting interview %1").arg(id));
        if (m_interviewViewModel->status() == InterviewStatus::idle) {
            m_interviewViewModel->startInterviewWithId();
        }
    };
    connect(m_webSocketService.get(), &WebSocketService::sessionFresh, context, proceed,
            Qt::QueuedConnection);
    connect(m_webSocketService.get(), &WebSocketService::sessionResumed, context, proceed,
            Qt::QueuedConnection);
}

void AppDelegate::reportHungInstance() {
    const auto advice =
        QStringLiteral("It is already running but does not respond. End its process, then start it again.");
    logLine(QStringLiteral("[App] ") + advice);
    m_platform.notifications->show(QStringLiteral("Corvane Lumetra"), advice);
}

bool AppDelegate::applicationShouldHandleReopen() {
    // During the launch there is no panel yet; the launch shows it by itself.
    if (m_floatingPanel) {
        showPanel();
    }
    return true;
}

// The database, the link and the capture end with the process.
void AppDelegate::applicationWillTerminate() {
    if (m_shortcutService) {
        m_shortcutService->unregisterAll();
    }
}

} // namespace corvane
