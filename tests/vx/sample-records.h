#pragma once

#include "support/log-capture.h"
#include "support/thrown-text.h"
#include "support/written.h"
#include "vx/record.h"

#include <cstdint>
#include <iterator>
#include <optional>
#include <ostream>
#include <string>
#include <variant>
#include <vector>

// Records to read, write and show, and the words of the tests that do so.

namespace sample {

using Name = vx::Identifier<struct NameTag>;

enum class Colour : std::int32_t { none = 0, red = 1, green = 2 };

inline vx::EnumTable vxEnum(Colour) {
    static constexpr vx::EnumRow x[] = {{0, "none"}, {1, "red"}, {2, "green"}};
    return {std::begin(x), std::end(x), "Colour"};
}

struct Inner {
    int number = 0;

    bool operator==(const Inner&) const = default;
    VX_FIELDS(Inner, number)
};

/// One field of each kind.
struct Everything {
    bool flag = false;
    std::int8_t tiny = 0;
    std::uint8_t byte = 0;
    std::uint16_t word = 0;
    std::int32_t number = 0;
    float single = 0.0F;
    double real = 0.0;
    std::string text = {};
    Name name = {};
    Colour colour = Colour::none;
    vx::DateTime time = {};
    std::optional<double> maybe = {};
    std::vector<Inner> list = {};
    std::vector<double> reals = {};
    Inner inner = {};

    bool operator==(const Everything&) const = default;
    VX_FIELDS(Everything, flag, tiny, byte, word, number, single, real, text, name, colour, time,
              maybe, list, reals, inner)
};

/// Defaults that are not zero.
struct Defaults {
    float scale = 1.0F;
    Colour colour = Colour::green;

    bool operator==(const Defaults&) const = default;
    VX_FIELDS(Defaults, scale, colour)
};

/// Its key is not the name of its member.
struct Renamed {
    int number = 0;

    template <class Visitor>
    static void visitFields(Visitor& visitor) {
        visitor.template operator()<decltype(&Renamed::number), &Renamed::number>("no");
    }
    friend std::ostream& operator<<(std::ostream& stream, const Renamed& record) {
        return vx::reflectedOstream(stream, record);
    }
};

struct Cat {
    std::string type = "cat";
    int lives = 0;

    bool operator==(const Cat&) const = default;
    VX_FIELDS(Cat, type, lives)
};

struct Dog {
    std::string type = "dog";

    bool operator==(const Dog&) const = default;
    VX_FIELDS(Dog, type)
};

using Pet = std::variant<std::monostate, Cat, Dog>;

} // namespace sample

template <>
struct vx::JsonVariantTraits<sample::Pet> {
    static constexpr const char* key = "type";
    static constexpr const char* alternatives[] = {"", "cat", "dog"};
};

namespace sample {

struct Owner {
    Pet pet;
    vx::JsonPrimitive note = {};

    bool operator==(const Owner&) const = default;
    VX_FIELDS(Owner, pet, note)
};

inline Everything full() {
    Everything r;
    r.flag = true;
    r.tiny = -5;
    r.byte = 200;
    r.word = 65535;
    r.number = -2147483647;
    r.single = 1.5F;
    r.real = 2.25;
    r.text = "a \"b\"";
    r.name = Name("n");
    r.colour = Colour::red;
    r.time = vx::toDateTime(std::string("2026-11-14T02:24:09.123Z"));
    r.maybe = 0.0;
    r.list = {{1}, {2}};
    r.reals = {0.5, 0.0};
    r.inner = {3};
    return r;
}

template <class R>
R read(const char* text) {
    return vx::fromJson<R>(text);
}

/// Text of a failure to read, which logs nothing by itself.
template <class R>
std::string failure(const char* text) {
    const DebugCapture silence(vx::enumLogChannel().name());
    return thrownText([text] { vx::fromJson<R>(text); });
}

/// Text of a failure to write, which logs nothing by itself.
template <class R>
std::string failureToWrite(const R& record) {
    const DebugCapture silence(vx::enumLogChannel().name());
    return thrownText([&record] { written(record); });
}

template <class R>
std::string text(const R& record) {
    return vx::str(record);
}

} // namespace sample
