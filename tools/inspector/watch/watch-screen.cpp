#include "inspector/watch/watch-screen.h"

#include "inspector/live/health.h"
#include "inspector/output/safe-text.h"
#include "inspector/report/live-notices.h"
#include "vx/date-time.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <optional>

namespace inspector {
namespace {

constexpr std::size_t nameWidth = 13;
constexpr std::size_t figuresWidth = 49;
constexpr double wattSecondsOfKilowattHour = 3.6e6;

template <class... Values>
std::string formatted(const char* format, Values... values) {
    std::array<char, 128> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return text.data();
}

std::string ageText(Moment age) {
    constexpr Moment second = 1000;
    constexpr Moment minute = 60 * second;
    constexpr Moment hour = 60 * minute;
    if (age < 2 * minute)
        return formatted("%.0f s", static_cast<double>(std::max<Moment>(age, 0)) / second);
    if (age < 2 * hour)
        return std::to_string(age / minute) + " min";
    return std::to_string(std::min<Moment>(age / hour, 99999)) + " h";
}

std::string nameOf(const Meter& meter) {
    if (!meter.name.empty())
        return meter.name;
    return meter.id.empty() ? "meter " + std::to_string(meter.slaveAddress.value_or(0)) : meter.id;
}

std::string energyText(double wattSeconds) {
    return wattSeconds == 0 || std::isnan(wattSeconds)
               ? std::string("-")
               : formatted("%.2f", wattSeconds / wattSecondsOfKilowattHour);
}

class Screen {
public:
    Screen(const HomeView& view, const ScreenSize& size) : m_view(view), m_size(size) {}

    std::vector<std::string> lines(std::string_view log) {
        add(headline(log));
        addMeters();
        add("");
        addTroubles();
        for (const std::string& hint : hintsOf(m_view))
            add(hint, "2");
        if (m_lines.size() > m_size.height)
            m_lines.resize(m_size.height);
        return std::move(m_lines);
    }

private:
    void add(std::string_view text, std::string_view style = {}) {
        std::string line = inColumns(text, m_size.width);
        line.resize(line.find_last_not_of(' ') + 1);
        if (!style.empty() && m_size.hasColours)
            line = "\x1b[" + std::string(style) + "m" + line + "\x1b[0m";
        m_lines.push_back(std::move(line));
    }
    std::string headline(std::string_view log) const;
    void addMeters();
    std::string row(std::size_t place) const;
    std::string tariffs(const Meter& meter) const;
    std::string_view styleOf(Health health) const;
    void addTroubles();
    std::string headOf(const Notice& notice) const;

    const HomeView& m_view;
    ScreenSize m_size;
    std::vector<std::string> m_lines;
};

std::string Screen::headline(std::string_view log) const {
    const Home& home = m_view.home;
    std::string text = home.polls ? "poll " + std::to_string(*home.polls) : "no poll yet";
    if (home.pollLengths.count() > 0)
        text += formatted(" of %.1f s", static_cast<double>(home.pollLengths.last()) / 1000);
    if (m_view.lastPoll)
        text += ", " + ageText(m_view.now - *m_view.lastPoll) + " ago";
    if (home.delivered)
        text += ", " + std::to_string(*home.delivered) + " delivered";
    if (home.lost.value_or(0) > 0)
        text += ", " + std::to_string(*home.lost) + " lost";
    return text + "   q ends   " + std::string(log) + (m_view.isOver ? " (at its end)" : "");
}

void Screen::addMeters() {
    add(inColumns("meter", nameWidth) +
            "    power W     in kWh    out kWh     age  state     power",
        "1;36");
    const std::vector<std::size_t> places = presentMeters(m_view.home);
    std::size_t withTariffs = 0;
    for (const std::size_t place : places)
        withTariffs += tariffs(m_view.home.meters[place]).empty() ? 1U : 2U;
    // The troubles need a little room.
    constexpr std::size_t rest = 6;
    const bool showsTariffs = withTariffs + rest <= m_size.height;
    const std::size_t room = m_size.height > rest ? m_size.height - rest : 1;
    const std::size_t shown = places.size() > room ? room - 1 : places.size();
    for (std::size_t i = 0; i < shown; ++i) {
        add(row(places[i]), styleOf(healthOf(m_view, places[i])));
        const std::string text = tariffs(m_view.home.meters[places[i]]);
        if (showsTariffs && !text.empty())
            add(text);
    }
    if (shown < places.size())
        add("and " + std::to_string(places.size() - shown) + " more meters");
}

std::string Screen::row(std::size_t place) const {
    const Meter& meter = m_view.home.meters[place];
    const Health health = healthOf(m_view, place);
    std::string text = inColumns(nameOf(meter), nameWidth);
    if (!meter.last)
        return text + formatted(" %10s %10s %10s %7s  ", "-", "-", "-", "-") +
               std::string(inspector::nameOf(health));
    const auto& values = meter.last->values;
    const std::optional<double> watts =
        place < m_view.courses.size() ? m_view.courses[place].power() : std::nullopt;
    const std::string power = health == Health::silent || !watts ? "-" : formatted("%.1f", *watts);
    text +=
        formatted(" %10s %10s %10s %7s  ", power.c_str(), energyText(values[firstEnergy]).c_str(),
                  energyText(values[firstEnergy + 1]).c_str(),
                  ageText(m_view.now - meter.last->time).c_str());
    text += inColumns(inspector::nameOf(health), 8);
    const std::size_t used = nameWidth + figuresWidth + 2;
    if (m_size.width > used && place < m_view.courses.size())
        text += "  " + sparkline(m_view.courses[place].powers(), m_size.width - used);
    return text;
}

/// Those in use.
std::string Screen::tariffs(const Meter& meter) const {
    std::string text;
    for (std::size_t i = firstEnergy + 2; meter.last && i < measuredMembers.size(); i += 2) {
        const double in = meter.last->values[i];
        const double out = meter.last->values[i + 1];
        if (in != 0 || out != 0)
            text += "  T" + std::string(measuredMembers[i].substr(1, 1)) + " " + energyText(in) +
                    "/" + energyText(out);
    }
    return text.empty() ? text : "  in/out kWh" + text;
}

std::string_view Screen::styleOf(Health health) const {
    switch (health) {
    case Health::good:
        return "32";
    case Health::failing:
        return "33";
    case Health::silent:
        return "31";
    case Health::unknown:
        break;
    }
    return {};
}

std::string Screen::headOf(const Notice& notice) const {
    const std::string head = inspector::headOf(notice);
    if (notice.meter)
        return nameOf(m_view.home.meters[*notice.meter]) + ": " + head;
    return notice.key == "register-unread" ? "unknown meter: " + head : head;
}

void Screen::addTroubles() {
    const std::vector<Notice> all = noticesOf(m_view);
    add(all.empty() ? "No trouble so far." : "Troubles, the last one first", "1;36");
    std::string_view told;
    for (const Notice& x : all) {
        if (m_lines.size() >= m_size.height)
            return;
        const std::string when =
            x.seen.last == 0 ? "at the start  " : ageText(m_view.now - x.seen.last) + " ago  ";
        add(std::to_string(x.seen.count) + "x  " + when + headOf(x));
        // The same remedy stands once for neighbours.
        const std::string& remedy = x.explanation.remedy;
        if (remedy != told && !remedy.empty())
            add("    " + remedy, "2");
        told = remedy;
    }
}

} // namespace

std::vector<std::string> watchScreen(const HomeView& view, std::string_view log,
                                     const ScreenSize& size) {
    return Screen(view, size).lines(log);
}

std::string sparkline(const std::deque<PowerPoint>& powers, std::size_t width) {
    constexpr std::array<std::string_view, 8> bars = {"▁", "▂", "▃", "▄", "▅", "▆", "▇", "█"};
    const std::size_t begin = powers.size() - std::min(width, powers.size());
    double lowest = 0;
    double highest = 0;
    for (std::size_t i = begin; i < powers.size(); ++i) {
        lowest = std::min(lowest, powers[i].watts);
        highest = std::max(highest, powers[i].watts);
    }
    const double range = highest > lowest ? highest - lowest : 1;
    std::string text;
    for (std::size_t i = begin; i < powers.size(); ++i) {
        const double share = (powers[i].watts - lowest) / range;
        text += bars[static_cast<std::size_t>(std::lround(share * (bars.size() - 1)))];
    }
    return text;
}

} // namespace inspector
