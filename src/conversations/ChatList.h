#pragma once

// The conversation list's rules: which conversations it shows for a search
// text, and in which order. Saved messages never show; the order is the last
// human activity, not the last message, so agent traffic buries nothing.

#include "model/Models.h"

class Store;

// Not saved messages, and (for a search other than blanks) a title that
// contains the search, ignoring case and the blanks around it.
bool listsConversation(const Store& store, const ChatSummary& chat, const QString& search);

// Store::chats as the list shows them, newest human activity first.
QList<ChatSummary> visibleChats(const Store& store, const QString& search);
