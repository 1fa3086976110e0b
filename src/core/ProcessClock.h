#pragma once

// How long ago the operating system started this process, in milliseconds:
// the start-up measure includes loading the libraries, not only main().
// Absent where the platform does not tell.
#include <optional>

std::optional<double> msSinceProcessStart();
