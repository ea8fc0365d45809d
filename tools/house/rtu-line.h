#pragma once

#include <string>

#include "house/bus-line.h"
#include "house/descriptor.h"
#include "house/modbus-context.h"
#include "house/wire-time.h"

namespace house {

/// @p message with its check sum, the low byte first.
Bytes rtuFrame(Bytes message);

/// Modbus RTU on a serial device, at 19200 8E1.
class RtuLine : public BusLine {
public:
    /// Throws `std::system_error` when the device cannot be opened.
    explicit RtuLine(std::string device, const WireTime& wireTime = {});

    void serve(const Wakeup& stop, const Responder& respond) override;

private:
    ModbusContext newContext() const;
    std::optional<Query> receive();
    void answer(const Wakeup& stop, const Responder& respond);

    std::string m_device;
    WireTime m_wireTime;
    /// The unit that the context serves.
    int m_unit = 0;
    ModbusContext m_context;
    Descriptor m_line;
};

} // namespace house
