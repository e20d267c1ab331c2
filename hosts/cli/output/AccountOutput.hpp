#pragma once

#include "output/JSONOutput.hpp"
#include "output/Session.hpp"

#include "KestrelCore/Scanning/DiskAccount.hpp"

namespace KestrelCLI {

/// Where the room of a file system went: lines whose sizes add up to what it says is used, then what is not in that
/// sum.
void writeAccount(const Session& session, const KestrelCore::DiskAccount& account);

/// The same as a member "account" of the open object.
void writeAccount(JSONOutput& json, const KestrelCore::DiskAccount& account);

}  // namespace KestrelCLI
