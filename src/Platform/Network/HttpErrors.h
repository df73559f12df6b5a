#pragma once

#include "Platform/Network/HttpClient.h"

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSslError>

namespace platform {

// Returns true if the reply is a response from the server that Qt reports as an error: a status of 400 and
// above.
bool isServerResponse(const QNetworkReply& reply);

// Returns what went wrong, with a sentence for the user. `sslErrors` are those that the reply reported;
// `proxy` is the one that the request was to be sent through.
HttpError classify(const QNetworkReply& reply, const QList<QSslError>& sslErrors, const QNetworkProxy& proxy);

} // namespace platform
