#pragma once

// Web addresses inside plain text, and their short display form.

#include <QList>
#include <QString>
#include <QUrl>

struct WebLink {
    qsizetype start = 0;  // UTF-16 offset into the text
    qsizetype length = 0; // UTF-16 length of the linked text
    QUrl url;             // always http or https, with a host

    bool operator==(const WebLink&) const = default;
};

// Addresses written with "http://" or "https://", starting with "www.", or a
// bare host name under a well-known top-level domain ("example.com/x").
// Mail addresses and other schemes are not web links. Results are in text
// order and never overlap.
QList<WebLink> webLinks(const QString& text);

// "https://www.Example.test/a" -> "Example.test/a": drops a leading scheme and
// then a leading "www.", ignoring case; the rest keeps its case.
QString prettyLink(const QString& link);

// The text with every web link replaced by its prettyLink, for places that
// show plain text (the conversation list's preview line).
QString displayNormalizedLinks(const QString& text);
