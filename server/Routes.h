#pragma once

#include "Context.h"
#include "Router.h"

// Each area of the API adds its routes to the one table.
void addAuthRoutes(Router& router, Context& ctx);
void addSessionRoutes(Router& router, Context& ctx);
void addChatRoutes(Router& router, Context& ctx);
void addMessageRoutes(Router& router, Context& ctx);
