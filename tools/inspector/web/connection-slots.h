#pragma once

#include <cstddef>
#include <memory>

namespace inspector {

/// How many connections there may still be.
class ConnectionSlots {
public:
    /// Held by one connection; empty if there is no room.
    using Slot = std::shared_ptr<const void>;

    explicit ConnectionSlots(std::size_t most) : m_free(std::make_shared<std::size_t>(most)) {}

    std::size_t free() const { return *m_free; }
    Slot take() {
        if (*m_free == 0)
            return nullptr;
        --*m_free;
        return {m_free.get(), [free = m_free](const void*) { ++*free; }};
    }

private:
    std::shared_ptr<std::size_t> m_free;
};

} // namespace inspector
