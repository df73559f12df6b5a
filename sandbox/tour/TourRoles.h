#pragma once

#include <QString>

// The roles of the tour's transcript.
namespace tourroles {

inline const QString tour = QStringLiteral("tour");
inline const QString interviewer = QStringLiteral("interviewer");
inline const QString candidate = QStringLiteral("candidate");
inline const QString program = QStringLiteral("program");
inline const QString sandbox = QStringLiteral("sandbox");

inline constexpr auto interviewId = "3f2b8c64-9d1e-4a57-b0c3-5e8f7a6d2c19";

// Returns the path of one of the recordings that ALSA installs for testing loudspeakers.
inline QString recording(const char* name) {
    return QStringLiteral("/usr/share/sounds/alsa/") + QLatin1String(name);
}

} // namespace tourroles
