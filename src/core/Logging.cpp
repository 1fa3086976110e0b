#include "core/Logging.h"

Q_LOGGING_CATEGORY(lcNet, "velmarin.net", QtInfoMsg)
Q_LOGGING_CATEGORY(lcStore, "velmarin.store", QtInfoMsg)
Q_LOGGING_CATEGORY(lcConversations, "velmarin.conversations", QtInfoMsg)
Q_LOGGING_CATEGORY(lcAgent, "velmarin.agent", QtInfoMsg)
Q_LOGGING_CATEGORY(lcFederation, "velmarin.federation", QtInfoMsg)
Q_LOGGING_CATEGORY(lcVoice, "velmarin.voice", QtInfoMsg)
Q_LOGGING_CATEGORY(lcUi, "velmarin.ui", QtInfoMsg)
Q_LOGGING_CATEGORY(lcShell, "velmarin.shell", QtInfoMsg)
