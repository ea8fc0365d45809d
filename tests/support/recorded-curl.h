#pragma once

#include <curl/curl.h>

#include <chrono>
#include <map>

/// The handles that this process asked for, and the numbers that it gave to `curl_easy_setopt`, the
/// last one of each option. The calls go on to the library.
namespace recorded_curl {

/// May be asked from any thread.
std::map<CURLoption, long> numbers();
/// Counted since the start of the process, whatever has been reset.
int handles();
/// Has no memory for a handle, until `reset`.
void refuseHandles();
/// Hands this limit on wherever a transfer is given one, until `reset`.
void replaceTimeLimit(std::chrono::milliseconds limit);
/// Forgets all numbers, and hands on what is given again.
void reset();

} // namespace recorded_curl
