#pragma once

// Readers of the agent's in-band markers. The Message members (isCCControl,
// ccWorkingMsgId, displayText, deployTarget, ...) are declared with the record
// in model/Models.h and defined in Markers.cpp; this header adds the free
// functions around them. Everything here is pure and runs on any thread.

#include "agent/MarkerConfig.h"
#include "model/Models.h"

#include <functional>
#include <optional>

// False when no line marker can be in `text`: every key starts with "CC".
// Lets a caller that reads many markers skip them all at the cost of one scan.
bool mayHoldLineMarkers(QStringView text);

// The user message an agent bubble answers, to show as a quote: only when the
// bubble has no reply of its own, names an earlier message with CCFOR=, and
// that message is not simply the latest one a person sent before the bubble.
// `chatMessages` are the conversation's loaded messages in any order; senders
// for whom `isBotUser` holds, and `agentId`, do not count as people.
std::optional<Message> answeredPrompt(const Message& bubble, const QList<Message>& chatMessages,
                                      const std::function<bool(qint64)>& isBotUser,
                                      std::optional<qint64> agentId);
