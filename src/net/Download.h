#pragma once

// Fetching a server's file to disk: a GET through the shared session, so the
// same pins hold as for the API, streamed into a device instead of memory.

#include <QCoroTask>
#include <QUrl>
#include <functional>

class QIODevice;

// Bytes received so far, of the total (-1 when the server does not say).
using DownloadProgress = std::function<void(qint64 received, qint64 total)>;

// Writes the body of a 2xx reply to `sink` as it arrives and gives the byte
// count. Throws ApiError with a text fit for the person on a transport
// failure, a refused pin, an HTTP error or a failed write; `sink` may then
// hold part of the body.
QCoro::Task<qint64> downloadTo(QUrl url, QIODevice& sink, DownloadProgress progress = {});
