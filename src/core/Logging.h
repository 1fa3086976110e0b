#pragma once

// One logging category per layer, so a person can turn one on or off
// (QT_LOGGING_RULES="velmarin.net.debug=true"); the texts keep their
// "[Velmarin]" prefix.

#include <QLoggingCategory>

Q_DECLARE_LOGGING_CATEGORY(lcNet)
Q_DECLARE_LOGGING_CATEGORY(lcStore)
Q_DECLARE_LOGGING_CATEGORY(lcConversations)
Q_DECLARE_LOGGING_CATEGORY(lcAgent)
Q_DECLARE_LOGGING_CATEGORY(lcFederation)
Q_DECLARE_LOGGING_CATEGORY(lcVoice)
Q_DECLARE_LOGGING_CATEGORY(lcUi)
Q_DECLARE_LOGGING_CATEGORY(lcShell)
