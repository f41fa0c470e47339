// The version file fetched over HTTP with QtNetwork: one GET, a timeout, and the window kept
// painted meanwhile (a local event loop runs while the reply is awaited).
#pragma once

#include "core/app/update_check.h"

namespace kestrova {

class HttpFetcher : public VersionFetcher {
public:
    explicit HttpFetcher(int timeoutMs = 10000) : timeoutMs_(timeoutMs) {}
    // The body of a successful reply; nullopt for an error, a failing status or a timeout.
    std::optional<QByteArray> fetch(const QString& url) override;

private:
    int timeoutMs_;
};

}  // namespace kestrova
