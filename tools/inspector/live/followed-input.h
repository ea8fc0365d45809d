#pragma once

#include "inspector/live/stopper.h"
#include "inspector/log/input.h"

#include <functional>
#include <memory>
#include <string>

namespace inspector {

/// The bytes of a log that still grows: where there are no more, it waits for them until it is
/// stopped. A file that was rotated, by another one in its place or by being emptied, goes on with
/// its new content. Standard input ("-") ends when its other end is closed. @p whenRead is called
/// once, when all that was there is read. Throws `UnreadableInput`.
std::unique_ptr<Input> followInput(const std::string& name, const Stopper& stopper,
                                   std::function<void()> whenRead);

} // namespace inspector
