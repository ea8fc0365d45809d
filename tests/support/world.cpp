#include "support/world.h"

#include "support/lines.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <stdexcept>

using house::LocalServer;

namespace {

using Kind = Transcript::Kind;

constexpr const char* configFile = "/etc/modbus-config.json";
constexpr const char* logSettings = "/etc/libvx";
constexpr const char* serialDevice = "/dev/ttymxc2";
constexpr std::uint16_t busPort = 1502;
constexpr const char* meteringSocket = "/var/run/orv-metering.sock";

/// The request and the status of its answer, in columns.
std::string textOf(const house::Request& request) {
    static const std::string head = "/api/v1/apartment/meterings/modbus/";
    std::string text =
        request.method + " " +
        (request.path.starts_with(head) ? "…/" + request.path.substr(head.size()) : request.path);
    constexpr std::size_t column = 33; // the ellipsis has three bytes
    text.resize(std::max(text.size() + 1, column), ' ');
    return text + (request.status == 0 ? "dropped" : std::to_string(request.status));
}

void requirePrivateWorld() {
    if (std::filesystem::exists("/etc/passwd"))
        throw std::runtime_error("Not a private world: run the tests by ctest, or by "
                                 "tools/private-world --rtu -- TESTS");
}

} // namespace

const Replies oneMeter = {
    R"({"data":{"serialDevice":"/dev/ttyS1","baudRate":"baud19200","parity":"even",)"
    R"("dataBits":"bits8","stopBits":"bits1"}})",
    R"({"data":[{"id":"m1","configId":"c1","serial":"S-1","slaveAddress":7}]})",
    R"({"data":[{"id":"c1","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":2},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1,"registerType":"input"},)"
    R"({"address":20,"fieldType":"energyImport","modbusDataType":"uint32","length":1,"scaleValue":0.5}]}]})"};

const Replies twoMeters = {
    R"({"data":{"serialDevice":"/dev/a","baudRate":"baud9600"}})",
    R"({"data":[{"configId":"c","serial":"S-7","slaveAddress":7},)"
    R"({"configId":"c","serial":"S-8","slaveAddress":8}]})",
    R"({"data":[{"id":"c","registers":[)"
    R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":1},)"
    R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1}]}]})"};

World::World() {
    requirePrivateWorld();
    openServer();
    openBus();
    openService();
    useTcp();
}

World::~World() {
    closeAll();
    for (const char* left : {configFile, logSettings, serialDevice, meteringSocket})
        std::filesystem::remove(left);
    for (const std::string& complaint : m_transcript.takeAll(Kind::complaint))
        ADD_FAILURE() << "Not taken: " << complaint;
}

void World::openServer() {
    server = std::make_unique<LocalServer>();
    server->whenRequested([this](const house::Request& request) {
        happened(Kind::request, textOf(request));
        const std::scoped_lock lock(m_callbackMutex);
        // It may replace itself.
        const auto callback = m_whenRequested;
        if (server && callback)
            callback(request);
    });
    serve(m_replies);
}

void World::closeServer() {
    std::unique_lock lock(m_callbackMutex);
    const auto closing = std::move(server);
    lock.unlock();
}

void World::serve(const Replies& replies) {
    if (!replies.rtuConfig.empty())
        serveRtuConfig(replies.rtuConfig);
    if (!replies.attached.empty())
        serveAttached(replies.attached);
    if (!replies.supported.empty())
        serveSupported(replies.supported);
}

void World::serveRtuConfig(const std::string& reply) {
    m_replies.rtuConfig = reply;
    if (server)
        server->serve(LocalServer::rtuConfigPath, reply);
}

void World::serveAttached(const std::string& reply) {
    m_replies.attached = reply;
    if (server)
        server->serve(LocalServer::attachedPath, reply);
}

void World::serveSupported(const std::string& reply) {
    m_replies.supported = reply;
    if (server)
        server->serve(LocalServer::supportedPath, reply);
}

void World::whenRequested(std::function<void(const house::Request&)> callback) {
    const std::scoped_lock lock(m_callbackMutex);
    m_whenRequested = std::move(callback);
}

void World::openBus() {
    bus = serialLine ? std::make_unique<house::ModbusSlave>(house::Tty{serialLine->slaveEnd()})
                     : std::make_unique<house::ModbusSlave>(house::TcpPort{busPort});
    bus->whenAnswering([this](const std::string& lines) { happened(Kind::bus, lines); });
}

void World::useTcp() {
    writeConfigFile(R"({"modbusMiscConfig":{"modbusTCPServer":"127.0.0.1","port":1502,)"
                    R"("timeoutResponseSec":1}})");
}

void World::layLine() {
    std::filesystem::remove(configFile);
    bus.reset();
    serialLine = std::make_unique<house::PtyPair>();
    serialLine->linkMasterEnd(serialDevice);
}

void World::useLine() {
    layLine();
    openBus();
}

void World::writeConfigFile(const std::string& text) {
    std::ofstream(configFile) << text;
}

void World::closeAll() {
    closeServer();
    bus.reset();
    closeService();
}

void World::openService() {
    const std::scoped_lock lock(m_serviceMutex);
    service = std::make_unique<house::MeteringService>();
    m_messages = 0;
    m_transferred = 0;
}

void World::closeService() {
    const std::scoped_lock lock(m_serviceMutex);
    service.reset();
}

std::string World::transcript() {
    catchUp();
    return m_transcript.take();
}

std::vector<std::string> World::log(std::string_view text) {
    catchUp();
    return m_transcript.takeLog(text);
}

std::vector<std::string> World::complaints() {
    catchUp();
    return m_transcript.takeAll(Kind::complaint);
}

std::string World::conversation() {
    std::string text;
    for (const std::string& lines : m_transcript.takeAll(Kind::bus))
        text += lines;
    return text;
}

std::vector<std::string> World::messages() {
    catchUp();
    return m_transcript.takeAll(Kind::message);
}

void World::forget() {
    transcript();
}

void World::logged(const std::string& line) {
    const bool complains =
        line.starts_with("warning ") || line.starts_with("error ") || line.starts_with("fatal ");
    m_transcript.add(complains ? Kind::complaint : Kind::line, withoutRunningValues(line));
    if (line.find(" TRANSFERRED ") == std::string::npos)
        return;
    static const std::regex whole(R"( TRANSFERRED  self->m_buffer\.size\(\):(\d+) size:\1 )");
    const std::scoped_lock lock(m_serviceMutex);
    if (service && std::regex_search(line, whole))
        ++m_transferred;
}

void World::happened(Kind kind, const std::string& text) {
    catchUp();
    m_transcript.add(kind, text);
}

void World::catchUpBy(std::function<void()> readLog) {
    const std::scoped_lock lock(m_readLogMutex);
    m_readLog = std::move(readLog);
}

void World::catchUp() {
    std::unique_lock lock(m_readLogMutex);
    const auto readLog = m_readLog;
    lock.unlock();
    if (readLog)
        readLog();
}

void World::awaitMessages() {
    const std::scoped_lock lock(m_serviceMutex);
    if (!service || m_messages == m_transferred)
        return;
    EXPECT_TRUE(service->waitForMessages(m_transferred)) << m_transferred << " messages";
    std::vector<house::Message> all = service->messages();
    std::sort(all.begin(), all.end(), [](const house::Message& a, const house::Message& b) {
        return a.connection < b.connection;
    });
    for (; m_messages < all.size(); ++m_messages)
        m_transcript.add(Kind::message, withoutTime(all[m_messages].text));
}
