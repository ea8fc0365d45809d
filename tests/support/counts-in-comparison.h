#pragma once

#include <type_traits>

/// Whether a copy of @p record with @p other in @p member alone is unequal to it.
template <class R, class T>
bool countsInComparison(const R& record, T R::*member, const std::type_identity_t<T>& other) {
    R changed = record;
    changed.*member = other;
    return record != changed && !(record == changed) && record == R(record);
}
