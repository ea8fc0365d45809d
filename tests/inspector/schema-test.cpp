#include "inspector-program.h"
#include "inspector/schema-validator.h"
#include "inspector/schema/descriptions.h"
#include "inspector/schema/json-schema.h"
#include "vx/json.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

// What the published schemas hold.

using inspector::formats;

namespace {

/// A place of a schema and what it says of the values there.
struct Place {
    std::string path;
    json_object* schema;

    std::optional<std::string> text(const char* keyword) const {
        json_object* value = nullptr;
        if (json_object_object_get_ex(schema, keyword, &value) == 0)
            return std::nullopt;
        return json_object_get_string(value);
    }

    bool isNumber() const {
        const std::string type = text("type").value_or("");
        return text("$ref") || type == "integer" || type.find("number") != std::string::npos;
    }
};

/// Adds the place itself and all below it.
void addPlaces(const std::string& path, json_object* schema, std::vector<Place>& places) {
    places.push_back({path, schema});
    json_object* items = nullptr;
    if (json_object_object_get_ex(schema, "items", &items) != 0)
        addPlaces(path + "/*", items, places);
    json_object* properties = nullptr;
    if (json_object_object_get_ex(schema, "properties", &properties) == 0)
        return;
    json_object_object_foreach(properties, key, value) {
        addPlaces(path + "/" + key, value, places);
    }
}

class Schema : public testing::Test {
protected:
    /// Of the published schema of a format, the whole document first.
    std::vector<Place> placesOf(std::string_view format) {
        m_schemas.push_back(
            vx::parseJsonFragment(inspector::publishedSchema(std::string(format)).c_str()));
        std::vector<Place> places;
        addPlaces("", m_schemas.back().get(), places);
        return places;
    }

    /// "PATH: TEXT", line by line, of those keys of a format of which the schema says @p keyword.
    std::string linesOf(std::string_view format, const char* keyword) {
        std::string lines;
        for (const Place& place : placesOf(format))
            if (const std::optional<std::string> text = place.text(keyword))
                lines += place.path + ": " + *text + "\n";
        return lines;
    }

private:
    std::vector<std::shared_ptr<json_object>> m_schemas;
};

} // namespace

TEST_F(Schema, thePublishedOnesAreThoseOfTheRecords) {
    for (const std::string_view name : formats()) {
        const std::string format(name);
        const inspector::ProgramResult result = inspector::run({"schema", format});
        EXPECT_EQ(result.status, 0);
        EXPECT_EQ(result.standardOutput, inspector::publishedSchema(format))
            << "script/write-schemas writes it anew.";
    }
}

TEST_F(Schema, eachKeyIsDescribedAndNothingElseIs) {
    for (const std::string_view format : formats()) {
        std::vector<std::string> described;
        for (const inspector::Description& x : inspector::descriptionsOf(format)) {
            described.push_back(std::string(x.path) + ": " + std::string(x.text));
            EXPECT_TRUE(x.text.ends_with(".")) << x.path;
        }
        std::vector<std::string> published;
        for (const Place& place : placesOf(format))
            published.push_back(place.path + ": " + place.text("description").value_or("none"));
        EXPECT_EQ(published, described) << format;
    }
}

TEST_F(Schema, eachNumberHasAUnitUnlessItIsAnAddress) {
    const std::vector<std::string> addresses = {"/data/*/registers/*/address",
                                                "/data/*/slaveAddress", "/modbusMiscConfig/port",
                                                "/slaveAddress"};
    for (const std::string_view format : formats())
        for (const Place& place : placesOf(format))
            if (place.isNumber()) {
                const bool isAddress =
                    std::find(addresses.begin(), addresses.end(), place.path) != addresses.end();
                EXPECT_NE(place.text("x-unit").has_value(), isAddress)
                    << format << " " << place.path;
            }
}

TEST_F(Schema, tellsWhatAKeyIsThatIsAbsent) {
    EXPECT_EQ(linesOf("supported", "default"), R"(/data: [ ]
/data/*/id: 
/data/*/displayName: 
/data/*/model: 
/data/*/manufacturer: 
/data/*/registers: [ ]
/data/*/registers/*/address: 0
/data/*/registers/*/fieldType: none
/data/*/registers/*/modbusDataType: none
/data/*/registers/*/length: 0
/data/*/registers/*/scaleValue: 1.0
/data/*/registers/*/registerType: holding
)");
    EXPECT_EQ(linesOf("attached", "default"), R"(/data: [ ]
/data/*/id: 
/data/*/configId: 
/data/*/model: 
/data/*/manufacturer: 
/data/*/serial: 
/data/*/name: 
/data/*/tariffEnabled: false
/data/*/isGlobal: false
/data/*/slaveAddress: 0
/data/*/application: unitialized
)");
    EXPECT_EQ(linesOf("serial", "default"), R"(/data: { }
/data/serialDevice: 
/data/baudRate: none
/data/parity: uninitilzed
/data/dataBits: none
/data/stopBits: none
)");
    EXPECT_EQ(linesOf("config", "default"), R"(/modbusMiscConfig: { }
/modbusMiscConfig/modbusTCPServer: 
/modbusMiscConfig/port: 0
/modbusMiscConfig/readIntervalUSec: 0
/modbusMiscConfig/timeoutResponseSec: 0
/modbusMiscConfig/timeoutIndicationSec: 0
)");
}

TEST_F(Schema, anAbsentKeyOfAMessageIsZeroOrFalseUnlessItIsInEachMessage) {
    EXPECT_EQ(linesOf("message", "default"), R"(/slaveAddress: 0
/tariffEnabled: false
/powerConsumed: 0.0
/powerProduced: 0.0
/energyConsumed: 0.0
/energyProduced: 0.0
/t1EnergyConsumed: 0.0
/t1EnergyProduced: 0.0
/t2EnergyConsumed: 0.0
/t2EnergyProduced: 0.0
/t3EnergyConsumed: 0.0
/t3EnergyProduced: 0.0
/t4EnergyConsumed: 0.0
/t4EnergyProduced: 0.0
/t5EnergyConsumed: 0.0
/t5EnergyProduced: 0.0
/t6EnergyConsumed: 0.0
/t6EnergyProduced: 0.0
)");
    EXPECT_EQ(linesOf("message", "required"), ": [ \"id\", \"meteringType\", \"lastChanged\" ]\n");
}

TEST_F(Schema, aFormatThatIsNoneIsWrongUsage) {
    for (const std::string format : {"", "0", "-1", "Supported", "supported.schema.json"}) {
        const inspector::ProgramResult result = inspector::run({"schema", format});
        EXPECT_EQ(result.status, 2) << format;
        EXPECT_EQ(result.standardOutput, "");
    }
    EXPECT_EQ(inspector::run({"schema"}).status, 2);
    EXPECT_EQ(inspector::run({"schema", "config", "message"}).status, 2);
}
