#include "net/Download.h"

#include "model/Errors.h"
#include "net/Api.h"
#include "net/Pinning.h"

#include <QCoroNetworkReply>
#include <QIODevice>
#include <QNetworkAccessManager>
#include <QNetworkReply>
#include <memory>

namespace {

constexpr qint64 readBufferBytes = 256 * 1024;

int httpStatus(const QNetworkReply* reply) {
    return reply->attribute(QNetworkRequest::HttpStatusCodeAttribute).toInt();
}

qint64 contentLength(const QNetworkReply* reply) {
    bool known = false;
    const qint64 total = reply->header(QNetworkRequest::ContentLengthHeader).toLongLong(&known);
    return known && total > 0 ? total : -1;
}

bool isSuccess(int status) {
    return status >= 200 && status <= 299;
}

QString failureText(const QNetworkReply* reply, bool writeFailed) {
    if (writeFailed) return QStringLiteral("The file could not be written.");
    if (PinningDelegate::refusedByPin(reply))
        return QStringLiteral("The server's identity does not match the one this app knows.");
    const int status = httpStatus(reply);
    if (status == 404) return QStringLiteral("The file is no longer on the server.");
    if (status != 0 && !isSuccess(status))
        return QStringLiteral("The server refused the download (HTTP %1).").arg(status);
    return reply->errorString();
}

} // namespace

QCoro::Task<qint64> downloadTo(QUrl url, QIODevice& sink, DownloadProgress progress) {
    QNetworkRequest request(PinRegistry::shared().upgraded(url));
    PinningDelegate::prepare(request);
    QNetworkReply* reply = Api::session().get(request);
    PinningDelegate::attach(reply);
    // A large file streams through a bounded buffer, and its progress moves in steps.
    reply->setReadBufferSize(readBufferBytes);
    const std::unique_ptr<QNetworkReply, void (*)(QNetworkReply*)> owner(
        reply, [](QNetworkReply* r) { r->deleteLater(); });

    auto written = std::make_shared<qint64>(0);
    auto writeFailed = std::make_shared<bool>(false);
    // An error page is no file: only a 2xx body reaches the sink. Progress
    // follows what was written: Qt's own progress signal is rate-limited and
    // says nothing between start and end of a fast transfer.
    const auto drain = [reply, &sink, written, writeFailed, progress] {
        if (*writeFailed || !isSuccess(httpStatus(reply))) return;
        const QByteArray chunk = reply->readAll();
        if (chunk.isEmpty()) return;
        if (sink.write(chunk) != chunk.size()) {
            *writeFailed = true;
            reply->abort();
            return;
        }
        *written += chunk.size();
        if (progress) progress(*written, contentLength(reply));
    };
    QObject::connect(reply, &QNetworkReply::readyRead, reply, drain);
    co_await qCoro(reply).waitForFinished(std::chrono::milliseconds(-1));
    drain();
    if (*writeFailed || reply->error() != QNetworkReply::NoError || !isSuccess(httpStatus(reply)))
        throw ApiError(failureText(reply, *writeFailed));
    co_return *written;
}
