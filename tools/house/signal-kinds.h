#pragma once

#include <string>

#include "house/json-part.h"
#include "house/signals.h"

namespace house {

/// What a signal is made from.
struct SignalSource {
    /// Keeps it from moving like another one of its kind.
    const std::string& name;
    const JsonPart& part;
    /// Those described ahead of it.
    const Signals& others;

    const double& signal(const std::string& key) const { return others.reference(part.at(key)); }
};

/// The rule by the source's `kind`. Throws `std::runtime_error` for an unknown kind, and for keys
/// that are missing, wrong, or not of the kind.
Signals::Rule makeRule(const SignalSource& source);

} // namespace house
