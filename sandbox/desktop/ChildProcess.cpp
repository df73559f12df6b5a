#include "sandbox/desktop/ChildProcess.h"

#include <QDeadlineTimer>
#include <QFile>
#include <QThread>

#include <csignal>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

namespace {

// Returns a null-terminated array of pointers into `texts`.
std::vector<char*> pointers(QList<QByteArray>& texts) {
    std::vector<char*> result;
    for (auto& text : texts) {
        result.push_back(text.data());
    }
    result.push_back(nullptr);
    return result;
}

QList<QByteArray> encoded(const QStringList& texts) {
    QList<QByteArray> result;
    for (const auto& text : texts) {
        result.append(text.toLocal8Bit());
    }
    return result;
}

} // namespace

void refuse(const QString& what) {
    throw std::runtime_error(what.toStdString());
}

QString contents(const QString& path) {
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : file.errorString();
}

void ChildProcess::start(const QString& program, const QStringList& arguments,
                         const QProcessEnvironment& environment, const QString& output) {
    kill();
    // The children end with this process, however it ends.
    auto command = encoded(QStringList{QStringLiteral("setpriv"), QStringLiteral("--pdeathsig"),
                                       QStringLiteral("KILL"), QStringLiteral("--"), program} +
                           arguments);
    auto variables = encoded(environment.toStringList());
    posix_spawn_file_actions_t files{};
    posix_spawn_file_actions_init(&files);
    posix_spawn_file_actions_addopen(&files, 1, output.toLocal8Bit().constData(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    posix_spawn_file_actions_adddup2(&files, 1, 2);
    const int error = posix_spawnp(&m_process, "setpriv", &files, nullptr, pointers(command).data(),
                                   pointers(variables).data());
    posix_spawn_file_actions_destroy(&files);
    if (error != 0) {
        throw std::runtime_error(program.toStdString() + ": " + std::strerror(error));
    }
    m_ended = false;
}

bool ChildProcess::isRunning() {
    if (!m_ended) {
        m_ended = ::waitpid(m_process, &m_status, WNOHANG) == m_process;
    }
    return !m_ended;
}

bool ChildProcess::waitForEnd(int milliseconds) {
    const QDeadlineTimer limit(milliseconds);
    while (isRunning()) {
        if (limit.hasExpired()) {
            return false;
        }
        QThread::msleep(5);
    }
    return true;
}

bool ChildProcess::succeeded() {
    return m_process != 0 && !isRunning() && WIFEXITED(m_status) && WEXITSTATUS(m_status) == 0;
}

void ChildProcess::signal(int number) {
    if (isRunning()) {
        ::kill(m_process, number);
    }
}

void ChildProcess::kill() {
    if (isRunning()) {
        ::kill(m_process, SIGKILL);
        ::waitpid(m_process, &m_status, 0);
        m_ended = true;
    }
}
