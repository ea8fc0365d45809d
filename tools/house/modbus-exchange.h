#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace house {

using Words = std::vector<std::uint16_t>;
using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t highByte(std::size_t word) {
    return static_cast<std::uint8_t>(word >> 8);
}

constexpr std::uint8_t lowByte(std::size_t word) {
    return static_cast<std::uint8_t>(word & 0xFF);
}

/// The two register spaces that a Modbus master reads words from.
enum class Space { input, holding };

/// How a request fails.
class Fault {
public:
    enum class Kind { silence, hangUp, shortAnswer, exception, late, garbled, otherUnit };

    /// No answer at all.
    static const Fault silence;
    /// The connection is closed in place of an answer. A serial line has none; there the answer is
    /// garbled.
    static const Fault hangUp;
    /// A well-formed answer that carries one word fewer than asked for.
    static const Fault shortAnswer;
    /// The right answer with its last byte turned over. On RTU the check sum tells so. TCP has
    /// none; there the header names no Modbus either, as that of a gateway that has lost its place.
    /// The reader logs "Unknown error" 112345690 on RTU, 112345691 on TCP.
    static const Fault garbled;
    /// A Modbus exception answer with @p code, 1 to 11.
    static constexpr Fault exception(unsigned code) { return {Kind::exception, code}; }
    /// The right answer, so much later. As one thread serves all, the other requests of the bus
    /// wait for it too; the end of the slave doesn't.
    static constexpr Fault late(std::chrono::milliseconds delay) { return {Kind::late, 0, delay}; }
    /// The right answer in the name of another unit, 1 to 247.
    static constexpr Fault fromUnit(unsigned id) { return {Kind::otherUnit, id}; }

    constexpr Kind kind() const { return m_kind; }
    constexpr unsigned code() const { return m_number; }
    constexpr unsigned unit() const { return m_number; }
    constexpr std::chrono::milliseconds delay() const { return m_delay; }

private:
    constexpr Fault(Kind kind, unsigned number = 0, std::chrono::milliseconds delay = {})
        : m_kind(kind), m_number(number), m_delay(delay) {}

    Kind m_kind;
    unsigned m_number;
    std::chrono::milliseconds m_delay;
};

inline constexpr Fault Fault::silence{Kind::silence};
inline constexpr Fault Fault::hangUp{Kind::hangUp};
inline constexpr Fault Fault::shortAnswer{Kind::shortAnswer};
inline constexpr Fault Fault::garbled{Kind::garbled};

/// A request of the master.
struct Query {
    /// The one in @p message, which begins with the number of the unit. Address and count mean
    /// something for a query that reads.
    static Query in(const std::uint8_t* message);

    int unit = 0;
    int function = 0;
    int address = 0;
    int count = 0;

    /// Whether it asks for input or holding registers.
    bool reads() const;
    Space space() const;
    /// Its line in the transcript.
    std::string text() const;
};

/// What a query is answered with.
struct Reply {
    Words words;
    /// The code of a Modbus exception, in the place of the words.
    std::optional<unsigned> exception;
    /// What becomes of the answer on its way.
    std::optional<Fault> fault;

    bool has(Fault::Kind kind) const { return fault && fault->kind() == kind; }
    std::chrono::milliseconds lateness() const {
        return fault ? fault->delay() : std::chrono::milliseconds(0);
    }
    /// The answer to @p query, from the number of the unit to the end of its data.
    Bytes message(const Query& query) const;
    /// Its line in the transcript.
    std::string text() const;
};

} // namespace house
