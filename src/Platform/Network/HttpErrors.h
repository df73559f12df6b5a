#pragma once

#include "Platform/Network/HttpClient.h"

#include <QNetworkProxy>
#include <QNetworkReply>
#include <QSslError>

namespace platform {

// True if Qt calls "error" what is an answer of the server: a status of 400 and above.
bool isServerResponse(const QNetworkReply& reply);

// What went wrong, with a sentence for the user. `sslErrors` are those that the reply reported, `proxy` the
// one that the request was to go through.
HttpError classify(const QNetworkReply& reply, const QList<QSslError>& sslErrors, const QNetworkProxy& proxy);

} // namespace platform
