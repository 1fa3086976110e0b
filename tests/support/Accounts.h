#pragma once

// Signing test accounts in against a running velmarin-server.

#include "net/Api.h"
#include "store/Store.h"
#include "support/ServerProcess.h"

#include <memory>

struct Account {
    Api api;
    User user;
};

// A name login over plain HTTP, outside any Store: the other person in a test.
Account signIn(const ServerProcess& server, const QString& name);

// Writes a signed-in state to the preferences and launches a Store from it,
// as a relaunch of the app would. Returns once the launch has settled: the
// device key is registered, the server pinned and the link up on the new token.
std::unique_ptr<Store> launchSignedIn(const ServerProcess& server, const QString& name,
                                      double timeScale = 0.05);

// Whether this client's device key guards its account on `server`, joined as
// an extra server: from then on the server has ended the account's name tokens.
bool keyBoundOn(const ServerProcess& server);

// The conversation between two accounts, created by the first.
ChatSummary directChat(const Account& from, const Account& to);
