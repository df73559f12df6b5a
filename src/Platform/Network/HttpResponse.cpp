#include "Platform/Network/HttpClient.h"

namespace platform {

std::optional<QByteArray> HttpResponse::header(const QByteArray& name) const {
    for (const auto& header : headers) {
        if (header.name.compare(name, Qt::CaseInsensitive) == 0) {
            return header.value;
        }
    }
    return std::nullopt;
}

} // namespace platform
