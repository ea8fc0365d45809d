#pragma once

#include "model/modbus.h"
#include "vx/identifier.h"
#include "vx/record.h"

#include <cstdint>
#include <optional>
#include <string>
#include <variant>
#include <vector>

// The records in which the local server's metering interface speaks. The daemon doesn't ask for
// them; they complete the model of the server. Texts whose meaning isn't told are the server's own
// and are neither checked nor changed.

namespace vxModel {

using ControllerId = vx::Identifier<struct ControllerIdTag>;

// The origins of a metering. The field `type` is the text by which `MeteringOrigin` tells them
// apart, so it must keep its default.

struct ApartmentMeteringOrigin {
    std::string type = "apartment";

    bool operator==(const ApartmentMeteringOrigin&) const = default;
    VX_FIELDS(ApartmentMeteringOrigin, type)
};

struct ControllerMeteringOrigin {
    std::string type = "controller";
    ControllerId id;

    bool operator==(const ControllerMeteringOrigin&) const = default;
    VX_FIELDS(ControllerMeteringOrigin, type, id)
};

struct OpenMeteringSystemOrigin {
    std::string type = "openMeteringSystem";
    std::string serialNumber;

    bool operator==(const OpenMeteringSystemOrigin&) const = default;
    VX_FIELDS(OpenMeteringSystemOrigin, type, serialNumber)
};

/// Unlike in `ModbusMeter`, the slave address has eight bits and the application is a free text.
struct ModbusMeteringOrigin {
    std::string type = "modbus";
    bool isGlobal = false;
    std::uint8_t slaveAddress = 0;
    std::string serialNumber;
    std::string application;

    bool operator==(const ModbusMeteringOrigin&) const = default;
    VX_FIELDS(ModbusMeteringOrigin, type, isGlobal, slaveAddress, serialNumber, application)
};

/// Where a metering comes from, told apart by the key "type"; index 0 if that is absent or unknown.
using MeteringOrigin =
    std::variant<std::monostate, ApartmentMeteringOrigin, ControllerMeteringOrigin,
                 OpenMeteringSystemOrigin, ModbusMeteringOrigin>;

} // namespace vxModel

template <>
struct vx::JsonVariantTraits<vxModel::MeteringOrigin> {
    static constexpr const char* key = "type";
    static constexpr const char* alternatives[] = {"", "apartment", "controller",
                                                   "openMeteringSystem", "modbus"};
};

namespace vxModel {

/// What a metering measures, and where.
struct MeteringAttributes {
    std::string unit;
    std::string technicalName;
    MeteringOrigin origin;

    bool operator==(const MeteringAttributes&) const = default;
    VX_FIELDS(MeteringAttributes, unit, technicalName, origin)
};

/// One metering, without its current value.
struct Metering {
    MeteringId id;
    MeteringType type = MeteringType::none;
    vx::DateTime lastChanged;
    MeteringAttributes attributes;

    bool operator==(const Metering&) const = default;
    VX_FIELDS(Metering, id, type, lastChanged, attributes)
};

/// The answer for all meterings.
struct Meterings {
    std::vector<Metering> meterings;

    bool operator==(const Meterings&) const = default;
    VX_FIELDS(Meterings, meterings)
};

struct MeteringValueAttributes {
    /// Nothing, which is an absent key, for a metering without a current value.
    std::optional<double> value;

    bool operator==(const MeteringValueAttributes&) const = default;
    VX_FIELDS(MeteringValueAttributes, value)
};

/// The current value of a metering. Its type is a free text, unlike `Metering::type`.
struct MeteringValue {
    MeteringId id;
    std::string type;
    vx::DateTime lastChanged;
    MeteringValueAttributes attributes;

    bool operator==(const MeteringValue&) const = default;
    VX_FIELDS(MeteringValue, id, type, lastChanged, attributes)
};

/// The answer for current values.
struct MeteringValues {
    std::vector<MeteringValue> values;

    bool operator==(const MeteringValues&) const = default;
    VX_FIELDS(MeteringValues, values)
};

/// One entry of a series in the compatibility form. The server defines what each number stands for.
struct SeriesRealCompatValueValue {
    std::vector<double> value;

    bool operator==(const SeriesRealCompatValueValue&) const = default;
    VX_FIELDS(SeriesRealCompatValueValue, value)
};

/// One series in the compatibility form. An empty object reads as one with `type` "power" and `ok`
/// true.
struct SeriesCompatValue {
    std::string type = "power";
    std::string meterID;
    std::string unit;
    std::string resolution;
    std::vector<SeriesRealCompatValueValue> values;
    bool ok = true;

    bool operator==(const SeriesCompatValue&) const = default;
    VX_FIELDS(SeriesCompatValue, type, meterID, unit, resolution, values, ok)
};

/// The answer for series, in the compatibility form.
struct SeriesCompatValues {
    std::vector<SeriesCompatValue> values;

    bool operator==(const SeriesCompatValues&) const = default;
    VX_FIELDS(SeriesCompatValues, values)
};

/// A value with its moment; nothing for a moment without a value.
struct SeriesCompatValueValue {
    vx::DateTime timestamp;
    std::optional<double> value;

    bool operator==(const SeriesCompatValueValue&) const = default;
    VX_FIELDS(SeriesCompatValueValue, timestamp, value)
};

} // namespace vxModel
