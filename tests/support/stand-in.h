#pragma once

#include <functional>
#include <memory>
#include <mutex>
#include <utility>

/// A function of a library that a test may replace for a scope, for the code of this program: that
/// of `src/`, of the house and of the tests, not for that of other libraries.
///
/// The linker is told to `--wrap` the function: this program's calls of `sleep` go to
/// `__wrap_sleep`, which asks the stand-in, and the library's own is left as `__real_sleep`:
///
///     const auto dozing = c_calls::sleep.replaceBy([](unsigned seconds) { return seconds; });
///     const auto watched = c_calls::usleep.observeBy([&](useconds_t x) { pauses.push_back(x); });
///
/// The real executable runs in a process of its own, where a preloaded library serves instead. All
/// functions are thread-safe; a replacement is called on the thread of the call.
template <class Function>
class StandIn;

template <class Result, class... Arguments>
class StandIn<Result(Arguments...)> {
public:
    using Replacement = std::function<Result(Arguments...)>;
    using Real = Result (*)(Arguments...);

    /// Puts the replacement back that was there before.
    class Scope {
    public:
        Scope(StandIn& standIn, Replacement replacement)
            : m_standIn(standIn),
              m_previous(
                  standIn.exchange(std::make_shared<const Replacement>(std::move(replacement)))) {}
        ~Scope() { m_standIn.exchange(m_previous); }
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        StandIn& m_standIn;
        std::shared_ptr<const Replacement> m_previous;
    };

    explicit constexpr StandIn(Real function) : m_real(function) {}

    Result real(Arguments... arguments) const { return m_real(arguments...); }

    [[nodiscard]] Scope replaceBy(Replacement replacement) {
        return {*this, std::move(replacement)};
    }

    /// Has each call told to @p observer and then made.
    [[nodiscard]] Scope observeBy(std::function<void(Arguments...)> observer) {
        return replaceBy(observedBy(std::move(observer)));
    }
    Replacement observedBy(std::function<void(Arguments...)> observer) const {
        return [this, observer = std::move(observer)](Arguments... arguments) {
            observer(arguments...);
            return m_real(arguments...);
        };
    }

    /// A call of the program.
    Result operator()(Arguments... arguments) const {
        std::unique_lock lock(m_mutex);
        const auto replacement = m_replacement;
        lock.unlock();
        return replacement ? (*replacement)(arguments...) : m_real(arguments...);
    }

private:
    std::shared_ptr<const Replacement> exchange(std::shared_ptr<const Replacement> next) {
        const std::scoped_lock lock(m_mutex);
        return std::exchange(m_replacement, std::move(next));
    }

    Real m_real;
    mutable std::mutex m_mutex;
    std::shared_ptr<const Replacement> m_replacement;
};
