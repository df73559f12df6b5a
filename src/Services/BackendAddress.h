#pragma once

#include "Platform/Core/Secret.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace corvane {

// The socket's address on the backend, the token in its query. Invalid, after a log line, when the text
// cannot be parsed; what else addressFault() finds is left to the attempt to open it.
QUrl webSocketUrl(const QString& baseURL, const platform::Secret& token);

// Why no socket can be opened there, as a sentence for the user. Returns nullopt when one can.
std::optional<QString> addressFault(const QString& baseURL);

} // namespace corvane
