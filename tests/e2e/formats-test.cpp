#include "e2e/process-world.h"

#include "house/home.h"
#include "house/http-exchange.h"
#include "inspector/schema-validator.h"
#include "vx/json.h"

#include <gtest/gtest.h>

#include <set>

// What really goes over the wire, by the published schemas.

using inspector::mistakeOf;
using inspector::mistakesOf;

namespace {

class Formats : public ProcessWorld {
protected:
    /// Starts the executable, whose pauses pass at once, and gives the first messages.
    std::vector<std::string> firstMessages(std::size_t count) {
        start({"LD_PRELOAD=" SHORT_PAUSES_LIBRARY, "ASAN_OPTIONS=verify_asan_link_order=0"});
        EXPECT_TRUE(service->waitForMessages(count));
        end();
        return service->texts();
    }

    std::string reply(const std::string& path) const {
        const std::string answer = house::get(*server, path);
        return answer.substr(answer.find("\r\n\r\n"));
    }
};

/// The home that ships with the house, in place of the one meter of the world.
class FormatsOfTheHouse : public Formats {
protected:
    FormatsOfTheHouse() {
        m_home.serveOn(*server);
        m_home.liveOn(*bus);
    }

    std::size_t meters() const { return m_home.meters().size(); }

private:
    house::Home m_home{house::Home::defaultFile()};
};

std::set<std::string> keysOf(json_object* object) {
    std::set<std::string> keys;
    json_object_object_foreach(object, key, value) {
        keys.insert(key);
    }
    return keys;
}

std::set<std::string> keysOfTheSchema() {
    const auto schema = vx::parseJsonFragment(inspector::publishedSchema("message").c_str());
    json_object* properties = nullptr;
    json_object_object_get_ex(schema.get(), "properties", &properties);
    return keysOf(properties);
}

} // namespace

TEST_F(FormatsOfTheHouse, theRepliesAreWhatTheirSchemasAllow) {
    EXPECT_EQ(mistakesOf({{"serial", reply(LocalServer::rtuConfigPath)},
                          {"attached", reply(LocalServer::attachedPath)},
                          {"supported", reply(LocalServer::supportedPath)}}),
              std::vector<std::string>(3));
}

TEST_F(FormatsOfTheHouse, theMessagesAreWhatTheirSchemaAllowsAndHoldEachOfItsKeys) {
    const std::vector<std::string> messages = firstMessages(meters());

    std::set<std::string> keys;
    std::vector<inspector::FormatText> documents;
    for (const std::string& text : messages) {
        keys.merge(keysOf(vx::parseJsonFragment(text.c_str()).get()));
        documents.push_back({"message", text});
    }
    EXPECT_EQ(keys, keysOfTheSchema());
    EXPECT_EQ(mistakesOf(documents), std::vector<std::string>(meters()));
}

TEST_F(Formats, aMessageWithANumberThatIsNotFiniteIsWhatItsSchemaAllows) {
    serveSupported(
        R"({"data":[{"id":"c1","registers":[)"
        R"({"address":1,"fieldType":"serial","modbusDataType":"ascii","length":4},)"
        R"({"address":10,"fieldType":"powerImport","modbusDataType":"uint16","length":1,)"
        R"("scaleValue":3e38,"registerType":"input"}]}]})");

    const std::string text = firstMessages(1).front();

    EXPECT_NE(text.find(R"("powerConsumed":null)"), std::string::npos) << text;
    EXPECT_EQ(mistakeOf("message", text), "");
}
