#include "platform/network/http_fetcher.h"

#include <QEventLoop>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <QTimer>

namespace kestrova {

std::optional<QByteArray> HttpFetcher::fetch(const QString& url) {
    QNetworkAccessManager network;
    QNetworkRequest request{QUrl(url)};
    request.setTransferTimeout(timeoutMs_);
    QNetworkReply* reply = network.get(request);
    QEventLoop wait;
    QTimer deadline;
    deadline.setSingleShot(true);
    QObject::connect(reply, &QNetworkReply::finished, &wait, &QEventLoop::quit);
    QObject::connect(&deadline, &QTimer::timeout, &wait, &QEventLoop::quit);
    deadline.start(timeoutMs_);
    if (!reply->isFinished()) wait.exec();
    std::optional<QByteArray> body;
    if (reply->isFinished() && reply->error() == QNetworkReply::NoError) body = reply->readAll();
    reply->abort();
    reply->deleteLater();
    return body;
}

}  // namespace kestrova
