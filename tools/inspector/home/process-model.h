#pragma once

#include "inspector/home/meter-book.h"
#include "inspector/home/shift-check.h"
#include "inspector/log/line.h"

#include <deque>

namespace inspector {

/// Follows one process through its polls.
class ProcessModel {
public:
    ProcessModel(MeterBook& book, std::uint32_t thread) : m_book(book), m_thread(thread) {}

    std::uint32_t thread() const { return m_thread; }
    Moment lastTime() const { return m_lastTime; }
    void add(const Line& line);
    void finish();

private:
    void addMain(const Line& line);
    void addSerial(const Line& line);
    void addReading(const Line& line);
    void addWriter(const Line& line);
    void addFailure(const Line& line);
    void addTrouble(const Line& line);
    void beginPoll(Moment time);
    void enterPoll();
    void beginOffer(Moment time, bool isAgain);
    void written(const Line& line);
    void transferred(std::string_view text);

    struct Message {
        std::size_t meter;
        std::int64_t size;
    };

    MeterBook& m_book;
    std::uint32_t m_thread;
    Moment m_lastTime = 0;
    /// The log marks the begin of each poll; else the messages at its end do.
    bool m_hasMarks = false;
    bool m_hasMessages = false;
    /// Nothing happened yet since the poll began.
    bool m_isFresh = false;
    bool m_isOffering = false;
    std::optional<Moment> m_begin;
    Moment m_lastOffer = 0;
    /// The meter that is being read.
    std::optional<int> m_slaveAddress;
    Poll m_poll;
    ShiftCheck m_shifts;
    /// Messages that were offered, or written, and whose fate isn't known yet.
    std::deque<std::size_t> m_offered;
    std::deque<Message> m_written;
};

} // namespace inspector
