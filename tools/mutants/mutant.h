#pragma once

// Included by every source in the copy of the tree that script/mutate-random builds. All mutants
// are compiled into that one build, each behind a switch:
//
//     if ((::mutants::on(17) ? (a >= b) : (a < b)))
//
// The environment tells each process which one is on, MUTANT, and the file that takes one byte for
// each that is reached, MUTANT_REACHED.

namespace mutants {

extern int active;
extern unsigned char* reached;

/// Not a constant expression, so a switch in a place that must be one doesn't compile, and a
/// `const` variable with a switch gets its value at run time.
inline bool on(int number) {
    if (reached != nullptr)
        reached[number] = 1;
    return number == active;
}

/// For functions that the compiler may call too, where no mutant is on.
constexpr bool onAtRunTime(int number) {
    return !__builtin_is_constant_evaluated() && on(number);
}

} // namespace mutants
