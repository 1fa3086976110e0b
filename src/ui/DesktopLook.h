#pragma once

// The desktop's light or dark preference, followed on the first start only:
// after that the design is the person's own choice.

#include <optional>

class Store;

// True for dark, false for light, absent when the desktop states none.
std::optional<bool> desktopPrefersDark();
// With no design stored yet, stores the one that fits the preference
// (Light for a light desktop, Classic otherwise). Returns true when it chose.
bool adoptDesktopLookOnFirstStart(Store& store, std::optional<bool> prefersDark);
