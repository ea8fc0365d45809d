#include "inspector/input/sources.h"

#include "http-client.h"
#include "modbus/config-file.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string_view>
#include <sys/stat.h>
#include <unistd.h>

namespace inspector {
namespace {

constexpr const char* ownConfig = "/etc/modbus-config.json";

std::string readAll(int descriptor, const std::string& name, std::size_t megabytes) {
    std::string text;
    constexpr std::size_t piece = 1 << 20;
    const std::size_t most = megabytes << 20;
    struct stat status {};
    // Growing would take twice the memory.
    if (fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode))
        text.reserve(std::min(static_cast<std::size_t>(status.st_size), most) + piece);
    for (;;) {
        const std::size_t size = text.size();
        text.resize(size + piece);
        const ssize_t count = read(descriptor, text.data() + size, piece);
        const int reason = errno;
        text.resize(size + static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
        if (count == 0)
            return text;
        if (count < 0 && reason != EINTR)
            throw UnreadableInput(name + ": " + std::strerror(reason));
        if (text.size() > most)
            throw UnreadableInput(name + ": larger than " + std::to_string(megabytes) + " MB");
    }
}

std::string ask(const std::string& server, const std::string& path) {
    const std::string url = server + "/api/v1/apartment/meterings/modbus/" + path;
    std::string body;
    const long status = orv::HttpClient(false).get(url, &body, false);
    if (status == -1)
        throw UnreadableInput(url + ": no answer");
    if (status != 200)
        throw UnreadableInput(url + ": status " + std::to_string(status));
    return body;
}

} // namespace

std::string readFile(const std::string& name, std::size_t megabytes) {
    if (name == "-")
        return readAll(STDIN_FILENO, "standard input", megabytes);
    const int descriptor = open(name.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor == -1)
        throw UnreadableInput(name + ": " + std::strerror(errno));
    try {
        std::string text = readAll(descriptor, name, megabytes);
        close(descriptor);
        return text;
    } catch (const UnreadableInput&) {
        close(descriptor);
        throw;
    }
}

bool isOwnServer(const std::string& server) {
    constexpr std::size_t scheme = std::string_view("http://").size();
    std::string host = server.substr(std::min(scheme, server.size()));
    // An address of IPv6 has colons ahead of that of the port.
    const std::size_t port = host.find(':', host.starts_with('[') ? host.find(']') : 0);
    host.resize(std::min(port, host.size()));
    in_addr address{};
    constexpr unsigned bitsOfHost = 24;
    return host == "localhost" || host == "[::1]" ||
           (inet_pton(AF_INET, host.c_str(), &address) == 1 &&
            ntohl(address.s_addr) >> bitsOfHost == IN_LOOPBACKNET);
}

Texts readTexts(const Sources& sources) {
    const auto text = [&](const std::optional<std::string>& file,
                          const char* path) -> std::optional<std::string> {
        if (file)
            return readFile(*file);
        if (sources.server && path != nullptr)
            return ask(*sources.server, path);
        return std::nullopt;
    };
    // In the order of the daemon, as a house that plays a recording begins a poll with the first.
    Texts texts;
    texts.serial = text(sources.serial, "rtuconfig");
    texts.attached = text(sources.attached, "attached");
    texts.supported = text(sources.supported, "config/supported");
    texts.config = text(sources.config, nullptr);
    if (sources.server && isOwnServer(*sources.server) && !sources.config &&
        std::filesystem::exists(ownConfig))
        texts.config = readFile(ownConfig);
    return texts;
}

} // namespace inspector
