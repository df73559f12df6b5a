#pragma once

// What this process writes is for its user alone, and its memory does not get on the disk. Both are of this
// process only: what it starts for the user is to have what the user's session gives.
namespace platform {

// First of all.
void keepToOurselves();
// In a child between fork and exec.
void leaveToTheUser();

} // namespace platform
