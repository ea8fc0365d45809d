#pragma once

#include "inspector/home/haste-check.h"
#include "inspector/home/meter-book.h"
#include "inspector/home/shift-check.h"
#include "inspector/log/line.h"

#include <deque>

namespace inspector {

/// Follows one process through its polls.
class ProcessModel {
public:
    /// @p number: later processes have higher ones.
    ProcessModel(MeterBook& book, std::uint32_t thread, std::size_t number)
        : m_book(book), m_thread(thread), m_number(number), m_haste(book.home()) {}

    std::uint32_t thread() const { return m_thread; }
    Moment lastTime() const { return m_lastTime; }
    /// Whether it wrote more than what the logger itself says ahead of the start.
    bool hasBegun() const { return m_hasBegun; }
    void add(const Line& line);
    /// Nothing more is known of the poll that goes on.
    void finish();

    /// Longer than a poll with several dead meters stays without a line.
    static constexpr Moment longestSilence = 300000;

    /// Whether a process writes this line first.
    static bool isStart(const Line& line);

private:
    /// What polls begin with, in its order there; the rules of the log may leave out any of it.
    enum class Mark { tick, alive, serialReply, attachedReply };

    void addMain(const Line& line);
    void addSerial(const Line& line);
    void takeAttached(std::string_view next);
    void addReading(const Line& line);
    void addWriter(const Line& line);
    void addFailure(const Line& line);
    void addTrouble(const Line& line);
    void beginPoll(Mark mark, Moment time);
    void addLength(Moment end);
    void enterPoll();
    void beginOffer(Moment time, bool isAgain);
    void lostMessage(Moment time);
    void written(const Line& line);
    void transferred(const Line& line);

    struct Message {
        std::size_t meter;
        std::int64_t size;
    };

    MeterBook& m_book;
    std::uint32_t m_thread;
    std::size_t m_number;
    bool m_hasBegun = false;
    Moment m_lastTime = 0;
    /// The last one. Where there is none, the messages at the end of a poll tell where it is.
    std::optional<Mark> m_mark;
    bool m_hasMessages = false;
    /// Since the last poll with messages the local server failed.
    bool m_hasServerTrouble = false;
    bool m_isOffering = false;
    std::optional<Moment> m_begin;
    /// A new list of attached meters, as long as nothing tells whether it counts.
    std::optional<std::string> m_attachedReply;
    Moment m_lastOffer = 0;
    /// The meter that is being read.
    std::optional<int> m_slaveAddress;
    Poll m_poll;
    ShiftCheck m_shifts;
    HasteCheck m_haste;
    /// Messages that were offered, or written, and whose fate isn't known yet.
    std::deque<std::size_t> m_offered;
    std::deque<Message> m_written;
};

} // namespace inspector
