#include "ViewModels/ScreenshotConsumer.h"

#include "Platform/Core/Clock.h"
#include "Platform/Desktop/Notifications.h"
#include "Platform/Screen/Clipboard.h"
#include "Services/ScreenCaptureService.h"
#include "ViewModels/CompletionViewModel.h"
#include "ViewModels/InterviewViewModel.h"
#include "ViewModels/SettingsViewModel.h"

#include <QDateTime>
#include <QUuid>

namespace corvane {

namespace {

AttachedFile attachedScreenshot(const QByteArray& png, qint64 now) {
    const auto time = QDateTime::fromMSecsSinceEpoch(now).toString(QStringLiteral("yyyy-MM-dd-HHmmss"));
    return {.id = QUuid::createUuid().toString(QUuid::WithoutBraces),
            .name = QStringLiteral("screenshot-%1.png").arg(time),
            .type = QStringLiteral("image/png"),
            .base64 = QString::fromLatin1(png.toBase64()),
            .size = png.size()};
}

} // namespace

ScreenshotConsumer::ScreenshotConsumer(ScreenCaptureService& screenCapture, const SettingsViewModel& settings,
                                       const InterviewViewModel& interview, CompletionViewModel& completion,
                                       Dependencies dependencies, const platform::Clock& clock)
    : m_settings(settings)
    , m_interview(interview)
    , m_completion(completion)
    , m_dependencies(dependencies)
    , m_clock(clock) {
    connect(&screenCapture, &ScreenCaptureService::screenshotCaptured, this, &ScreenshotConsumer::take);
    connect(&screenCapture, &ScreenCaptureService::selectionCaptured, this, &ScreenshotConsumer::take);
    connect(&screenCapture, &ScreenCaptureService::captureFailed, this, [this](const QString& reason) {
        m_dependencies.notifications.show(QStringLiteral("No screenshot was taken"), reason);
    });
}

void ScreenshotConsumer::take(const QByteArray& png) {
    if (!m_settings.screenshotConfig().enabled) {
        m_dependencies.clipboard.setPicture(png);
        m_dependencies.notifications.show(QStringLiteral("Screenshot copied"),
                                          QStringLiteral("It is on the clipboard, ready to be pasted."));
    } else if (isUnderWay(m_interview.status())) {
        m_completion.keep({attachedScreenshot(png, m_clock.nowMilliseconds())});
        m_dependencies.notifications.show(
            QStringLiteral("Screenshot kept with the conversation"),
            QStringLiteral(
                "It stays on this computer. The assistant is not asked about it during an interview."));
    } else {
        submit(png);
        // Only the text of a message is sent.
        m_dependencies.notifications.show(
            QStringLiteral("Screenshot added to the chat"),
            QStringLiteral("Only the text was sent to the assistant. The picture "
                           "stays with the message on this computer."));
    }
}

void ScreenshotConsumer::submit(const QByteArray& png) {
    const auto typed = m_completion.input();
    auto files = m_completion.attachedFiles();
    files.append(attachedScreenshot(png, m_clock.nowMilliseconds()));
    m_completion.setAttachedFiles(std::move(files));
    m_completion.setInput(m_settings.screenshotConfig().autoPrompt);
    m_completion.submit();
    m_completion.setInput(typed);
}

} // namespace corvane
