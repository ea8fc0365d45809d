// Any JSON text: what is read is written and read back to itself.

#include "fuzz.h"

#include "vx/exception.h"
#include "vx/json.h"
#include "vx/record.h"

#include <cmath>
#include <memory>

namespace {

/// json-c also takes numbers that JSON doesn't have, such as "0E", and gives them a text of another
/// value.
bool isJson(const std::string& text) {
    const std::unique_ptr<json_tokener, decltype(&json_tokener_free)> tokener(json_tokener_new(),
                                                                              &json_tokener_free);
    json_tokener_set_flags(tokener.get(), JSON_TOKENER_STRICT | JSON_TOKENER_ALLOW_TRAILING_CHARS);
    json_object_put(json_tokener_parse_ex(tokener.get(), text.c_str(), -1));
    return json_tokener_get_error(tokener.get()) == json_tokener_success;
}

void checkPrimitive(json_object* json) {
    const json_type type = json_object_get_type(json);
    const bool isPrimitive = type != json_type_object && type != json_type_array;
    try {
        const auto value = vx::fromJson<vx::JsonPrimitive>(json);
        VX_ASSERT(isPrimitive);
        const std::string written = vx::toJson(vx::toJsonFragment(value));
        const auto again = vx::fromJson<vx::JsonPrimitive>(written.c_str());
        const auto* number = std::get_if<double>(&value);
        if (number != nullptr && !std::isfinite(*number)) {
            VX_ASSERT(again.index() == 0, written);
            return;
        }
        VX_ASSERT(again == value, written);
        VX_ASSERT(number == nullptr || *number == json_object_get_double(json), written);
    } catch (const vx::Exception&) {
        VX_ASSERT(!isPrimitive);
    }
}

void check(const std::shared_ptr<json_object>& fragment, const std::string& text) {
    checkPrimitive(fragment.get());
    const std::string written = vx::toJson(fragment);
    VX_ASSERT(vx::str(fragment) == written);
    // Strict or not, json-c takes "NaN", which doesn't equal itself.
    if (!isJson(text) || written.find("NaN") != std::string::npos)
        return;
    const auto again = vx::parseJsonFragment(written.c_str());
    VX_ASSERT(again == fragment, written);
    VX_ASSERT(vx::toJson(again) == written, written);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string text = fuzz::textOf(data, size);
    std::shared_ptr<json_object> fragment;
    try {
        fragment = vx::parseJsonFragment(text.c_str());
    } catch (const vx::Exception&) {
        return 0;
    }
    check(fragment, text);
    return 0;
}
