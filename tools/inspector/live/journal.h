#pragma once

#include "inspector/live/stopper.h"
#include "inspector/log/source.h"

#include <functional>
#include <memory>
#include <string>

namespace inspector {

/// What a unit wrote into the system's journal, from a day ago on, and then what comes, until it
/// is stopped. @p whenRead is called once, when all that was there is read. Throws
/// `UnreadableInput`.
std::unique_ptr<Source> followJournal(const std::string& unit, const Stopper& stopper,
                                      std::function<void()> whenRead);

} // namespace inspector
