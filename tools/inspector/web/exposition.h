#pragma once

#include <initializer_list>
#include <string>
#include <string_view>
#include <utility>

namespace inspector {

/// The text in which metrics are exported: OpenMetrics 1.0.0, or the older format of Prometheus.
class Exposition {
public:
    enum class Format { plain, openMetrics };
    using Labels = std::initializer_list<std::pair<std::string_view, std::string_view>>;

    explicit Exposition(Format format) : m_isOpen(format == Format::openMetrics) {}

    /// Begins a metric; @p name is the one of its samples, with "_total" or "_info". Its head is
    /// written with its first sample.
    void metric(std::string_view name, std::string_view type, std::string_view help);
    /// A sample of the metric. A summary has two, with a @p suffix each.
    void sample(Labels labels, double value, std::string_view suffix = {});
    /// The whole text.
    std::string finish();

private:
    void writeHead();

    bool m_isOpen;
    std::string_view m_name;
    std::string_view m_type;
    std::string_view m_help;
    bool m_hasHead = false;
    std::string m_text;
};

} // namespace inspector
