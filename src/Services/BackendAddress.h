#pragma once

#include "Platform/Core/Secret.h"

#include <QString>
#include <QUrl>

#include <optional>

namespace corvane {

// Returns the address of the backend's socket, with the token in its query. When the text cannot be parsed,
// it logs that and returns an invalid address. Other faults that addressFault() reports show up when the
// address is opened.
QUrl webSocketUrl(const QString& baseURL, const platform::Secret& token);

// Returns the reason why no socket can be opened at that address, as a sentence for the user, or nullopt when
// one can.
std::optional<QString> addressFault(const QString& baseURL);

} // namespace corvane
