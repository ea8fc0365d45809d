#include "house/home.h"
#include "house/json-part.h"
#include "house/local-server.h"
#include "inspector-program.h"
#include "support/temporary-directory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>

using house::LocalServer;
using testing::EndsWith;

TEST(ShippedHome, hasNoFindingAsFiles) {
    const TemporaryDirectory directory;
    const auto server = house::JsonPart::fromFile(house::Home::defaultFile()).at("server");
    const auto file = [&](const std::string& reply) {
        return directory.write(reply, server.at(reply).json());
    };

    const auto result = inspector::run({"map", "--supported", file("supported"), "--attached",
                                        file("attached"), "--serial", file("rtuconfig")});

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, EndsWith("\n\nNo findings.\n"));
}

TEST(ShippedHome, hasNoFindingByTheServerThatTheReaderAsks) {
    const house::Home home(house::Home::defaultFile());
    LocalServer server;
    home.serveOn(server);

    const auto result = inspector::run({"map", "--server"});

    EXPECT_EQ(result.status, 0);
    EXPECT_THAT(result.standardOutput, EndsWith("\n\nNo findings.\n"));
    for (const char* path :
         {LocalServer::rtuConfigPath, LocalServer::attachedPath, LocalServer::supportedPath})
        EXPECT_EQ(server.requestCount(path), 1U) << path;
}
