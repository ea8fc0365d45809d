#include "house/home.h"

#include "house/json-part.h"
#include "house/living-home.h"
#include "house/recording.h"

#include <filesystem>
#include <variant>

namespace house {

class Home::Impl {
public:
    explicit Impl(const JsonPart& description) {
        if (!description.has("recording")) {
            m_kind.emplace<LivingHome>(description);
            return;
        }
        description.allowOnly({"recording"});
        m_kind.emplace<Recording>(description.at("recording"));
    }

    LivingHome& living() { return std::get<LivingHome>(m_kind); }
    /// What @p use makes of either kind.
    template <class Use>
    decltype(auto) with(const Use& use) {
        if (auto* const recording = std::get_if<Recording>(&m_kind))
            return use(*recording);
        return use(living());
    }

private:
    std::variant<std::monostate, LivingHome, Recording> m_kind;
};

Home::Home(const std::string& file) : m_impl(std::make_unique<Impl>(JsonPart::fromFile(file))) {}

Home::~Home() = default;

std::string Home::defaultFile() {
    const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    const std::filesystem::path name = "share/modbus-house/home.json";
    // Installed, the executable lies in a folder beside "share"; in a build tree, above it.
    const auto installed = folder.parent_path() / name;
    return std::filesystem::exists(installed) ? installed : folder / name;
}

const std::vector<Meter>& Home::meters() const {
    return m_impl->with(
        [](const auto& kind) -> const std::vector<Meter>& { return kind.meters(); });
}

WireTime Home::wireTime() const {
    return m_impl->with([](const auto& kind) { return kind.wireTime(); });
}

void Home::serveOn(LocalServer& server) const {
    m_impl->with([&](auto& kind) { kind.serveOn(server); });
}

void Home::liveOn(ModbusSlave& slave) {
    m_impl->with([&](auto& kind) { kind.liveOn(slave); });
}

std::string Home::moment() const {
    return m_impl->with([](const auto& kind) { return kind.moment(); });
}

double Home::hour() const {
    return m_impl->living().hour();
}

void Home::advance(std::chrono::duration<double> time) {
    m_impl->living().advance(time);
}

double Home::value(const std::string& signal) const {
    return m_impl->living().value(signal);
}

} // namespace house
