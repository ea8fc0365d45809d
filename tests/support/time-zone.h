#pragma once

#include <cstdlib>
#include <ctime>
#include <string>

/// Sets the time zone of this process for its scope; a POSIX text such as "CET-1" needs no
/// database.
class TimeZone {
public:
    explicit TimeZone(const char* zone) {
        if (const char* previous = std::getenv("TZ"))
            m_previous = previous;
        set(zone);
    }
    ~TimeZone() { set(m_previous.empty() ? nullptr : m_previous.c_str()); }
    TimeZone(const TimeZone&) = delete;
    TimeZone& operator=(const TimeZone&) = delete;

private:
    static void set(const char* zone) {
        if (zone == nullptr)
            unsetenv("TZ");
        else
            setenv("TZ", zone, 1);
        tzset();
    }

    std::string m_previous;
};
