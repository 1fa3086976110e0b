#pragma once

#include "Context.h"
#include "Router.h"

// Each area of the API adds its routes to the one table.
void addAuthRoutes(Router& router, Context& ctx);
void addSessionRoutes(Router& router, Context& ctx);
void addChatRoutes(Router& router, Context& ctx);
void addMessageRoutes(Router& router, Context& ctx);
// Pins and forwards.
void addMessageActionRoutes(Router& router, Context& ctx);
// Uploads, albums, the files behind them, and transcripts.
void addMediaRoutes(Router& router, Context& ctx);
// Members, roles and joining by code.
void addGroupRoutes(Router& router, Context& ctx);
// Profile and group pictures.
void addAvatarRoutes(Router& router, Context& ctx);
// The invite page a person opens in a browser: <base>/join.
void addJoinPage(Router& router, Context& ctx);

namespace transcription {
// What the test engine writes for every voice message it transcribes.
inline const QString kTestTranscript =
    QStringLiteral("This is the test engine's transcript of a voice message.");
} // namespace transcription
