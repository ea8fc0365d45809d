#include "inspector/watch/watch-command.h"

#include "inspector/input/sources.h"
#include "inspector/watch/own-screen.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/posix/stream_descriptor.hpp>
#include <boost/asio/signal_set.hpp>
#include <boost/asio/steady_timer.hpp>

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <string>

namespace inspector {
namespace {

using boost::system::error_code;

class Watcher {
public:
    Watcher(const LiveHome& home, const LiveLog& log, std::string name)
        : m_home(home),
          m_log(log),
          m_name(std::move(name)),
          m_keys(m_context, dup(m_screen.keys())) {}

    void run() {
        m_ends.add(SIGQUIT);
        m_ends.async_wait([this](error_code, int) { m_context.stop(); });
        awaitResize();
        awaitStop();
        awaitKey();
        tick();
        m_context.run();
    }

private:
    void awaitResize() {
        m_resizes.async_wait([this](error_code error, int) {
            if (error)
                return;
            draw();
            awaitResize();
        });
    }
    void awaitStop() {
        m_stops.async_wait([this](error_code error, int) {
            if (error)
                return;
            m_screen.leave();
            // The signal itself is one to catch; this one stops as well.
            raise(SIGSTOP);
            m_screen.enter();
            draw();
            awaitStop();
        });
    }
    void awaitKey() {
        m_keys.async_read_some(boost::asio::buffer(&m_key, 1),
                               [this](error_code error, std::size_t) {
                                   if (error || m_key == 'q' || m_key == 'Q')
                                       m_context.stop();
                                   else
                                       awaitKey();
                               });
    }
    void tick() {
        if (const std::string failure = m_log.failure(); !failure.empty())
            throw UnreadableInput(failure);
        draw();
        m_timer.expires_after(std::chrono::milliseconds(500));
        m_timer.async_wait([this](error_code) { tick(); });
    }
    void draw() {
        const auto lines = m_home.look(present(), [&](const HomeView& view) {
            return watchScreen(view, m_name, m_screen.size());
        });
        if (!m_screen.show(lines))
            m_context.stop();
    }

    const LiveHome& m_home;
    const LiveLog& m_log;
    std::string m_name;
    OwnScreen m_screen;
    boost::asio::io_context m_context{1};
    boost::asio::signal_set m_ends{m_context, SIGINT, SIGTERM, SIGHUP};
    boost::asio::signal_set m_stops{m_context, SIGTSTP};
    boost::asio::signal_set m_resizes{m_context, SIGWINCH};
    boost::asio::steady_timer m_timer{m_context};
    boost::asio::posix::stream_descriptor m_keys;
    char m_key = 0;
};

} // namespace

int runWatch(const WatchOptions& options) {
    LiveHome home(present());
    const LiveLog log(options.log, home);
    Watcher(home, log, nameOf(options.log)).run();
    return 0;
}

} // namespace inspector
