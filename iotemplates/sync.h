#pragma once
// Sharing the template library with a unit right after signing in to it: the library goes to the
// unit, the unit's own templates (built-in ones included) come back and are merged in. Nothing is
// shown to the technician; connect.log gets one line either way.

#include "iotemplates/library.h"

#include <functional>

namespace units {
class Api;
}

namespace iotemplates {

inline constexpr int kSyncTimeoutMs = 15000;

struct SyncOutcome
{
    QString unitKey;
    int sent = 0;        // templates sent
    int status = 0;      // the unit's HTTP status, 0 without an answer
    bool merged = false; // the unit answered and its templates were merged
    MergeResult back;    // what its templates did to the library
    bool saved = true;   // false: the library changed but could not be written
    QString logLine;     // the line written to connect.log
};
using SyncDone = std::function<void(const SyncOutcome &)>;

// POSTs the library to the unit `api` points at (with its sign-in token), merges the answer into
// the library file, saves it when it changed and logs the outcome. `done`, when given, runs once
// afterwards; a unit that does not serve templates (404) is skipped quietly.
void syncWithUnit(units::Api &api, SyncDone done = {});

} // namespace iotemplates
