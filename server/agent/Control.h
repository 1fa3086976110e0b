#pragma once

#include <QJsonObject>
#include <QString>
#include <optional>

// One request of the control channel: a message whose text is the control
// prefix directly followed by a JSON object.
struct ControlRequest {
    QString id;
    QString op;
    QString path;
    QJsonObject fields; // the whole object, for the op's own fields
};

namespace control {

// Longest control text the host reads; a write piece of 28000 bytes fits
// even with every character escaped.
inline constexpr qsizetype kMaxRequestLength = 256 * 1024;

// The request in `text`, when it is one: the prefix, then a JSON object with
// a non-empty text `id`, `kind` "q" and a non-empty text `op`. A missing
// `path` is the empty text; one that is not text makes no request.
std::optional<ControlRequest> parse(const QString& text);

// The reply message's text: the prefix and `fields` with `id` and `kind` "r".
QString replyText(const QString& id, QJsonObject fields);

// Field readers. Clients write ids as numbers, some as decimal text.
std::optional<qint64> id(const QJsonObject& obj, const QString& key);
QString text(const QJsonObject& obj, const QString& key);
std::optional<bool> flag(const QJsonObject& obj, const QString& key);
qint64 offset(const QJsonObject& obj);

QJsonObject ok();
QJsonObject failure(const QString& err);

} // namespace control
