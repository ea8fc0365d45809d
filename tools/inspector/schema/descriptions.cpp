#include "inspector/schema/descriptions.h"

#include <map>

namespace inspector {
namespace {

using Descriptions = std::vector<Description>;

const Descriptions serial = {
    {"", "Serial parameters of the RS-485 bus: the local server's reply to rtuconfig."},
    {"/data", "The parameters. Without them the line stays closed."},
    {"/data/serialDevice", "Compared and logged, never opened: the port is one of the hardware."},
    {"/data/baudRate", "Rate of the line. With none no line is opened.", "bits per second"},
    {"/data/parity", "Parity bit. uninitilzed is not yet set; none is a line without one."},
    {"/data/dataBits", "With none no line is opened; with any other it runs at eight data bits.",
     "bits"},
    {"/data/stopBits", "Stop bits. With none no line is opened.", "bits"},
};

const Descriptions attached = {
    {"", "Attached meters: the local server's reply to attached."},
    {"/data", "The meters, in the order in which they are read."},
    {"/data/*", "A meter."},
    {"/data/*/id", "Identity of the metering at the local server; not sent."},
    {"/data/*/configId", "The id of its model. Without such a model the meter isn't read."},
    {"/data/*/model", "Name of the model, for people."},
    {"/data/*/manufacturer", "Name of the manufacturer, for people."},
    {"/data/*/serial", "Stands for what a register of type serial would give."},
    {"/data/*/name", "Name of the meter, for people."},
    {"/data/*/tariffEnabled", "Has no effect on the reader, which takes it from a register."},
    {"/data/*/isGlobal", "Has no effect on the reader."},
    {"/data/*/slaveAddress", "Address on the bus, 1 to 247 on a serial line."},
    {"/data/*/application", "What the meter is attached to; has no effect on the reader."},
};

const Descriptions supported = {
    {"", "Supported meter models: the local server's reply to config/supported."},
    {"/data", "The models."},
    {"/data/*", "A model with its register map."},
    {"/data/*/id", "What the configId of a meter names."},
    {"/data/*/displayName", "Name of the model in a list, for people."},
    {"/data/*/model", "Name of the model, for people."},
    {"/data/*/manufacturer", "Name of the manufacturer, for people."},
    {"/data/*/registers", "The register map, in the order of reading. Without a register of type "
                          "serial nothing of the model's meters is sent."},
    {"/data/*/registers/*", "One field of the meter."},
    {"/data/*/registers/*/address", "Address as it goes over the bus, from 0."},
    {"/data/*/registers/*/fieldType", "What the register tells."},
    {"/data/*/registers/*/modbusDataType", "How its words are read, the most significant word "
                                           "first. none, int16, bitmap and dateTime are "
                                           "read and dropped."},
    {"/data/*/registers/*/length",
     "Number of values of the data type: 1 for a number, one per two characters of a text.",
     "values of the data type"},
    {"/data/*/registers/*/scaleValue",
     "Factor that takes an energy to kilowatt-hours, and a power to the unit in which it is sent.",
     "kWh or W per count"},
    {"/data/*/registers/*/registerType",
     "Space of the address: function 4 reads input registers, function 3 all others."},
};

const Descriptions config = {
    {"", "The configuration file /etc/modbus-config.json."},
    {"/modbusMiscConfig", "How the bus is reached."},
    {"/modbusMiscConfig/modbusTCPServer",
     "IPv4 address of a Modbus TCP server; empty for the serial line."},
    {"/modbusMiscConfig/port", "TCP port of that server, which has to be given."},
    {"/modbusMiscConfig/readIntervalUSec", "Has no effect: the pause is 20000.", "microseconds"},
    {"/modbusMiscConfig/timeoutResponseSec", "How long a read waits for its answer; 0 means 5.",
     "seconds"},
    {"/modbusMiscConfig/timeoutIndicationSec", "Has no effect on reading; 0 means 5.", "seconds"},
};

const Descriptions message = {
    {"", "A reading of a meter, as the metering service gets it. A key is left out if its value is "
         "zero "
         "or false; a number that is not finite is null."},
    {"/id", "The meter's serial."},
    {"/slaveAddress", "The low eight bits of the address on the bus."},
    {"/meteringType", "Kind of the source.", {}, "modbus"},
    {"/lastChanged", "Moment at which the read began, in UTC with milliseconds."},
    {"/tariffEnabled", "Whether the meter works with tariffs."},
    {"/powerConsumed", "Power that flows to the consumer.", "W"},
    {"/powerProduced", "Power that the consumer delivers.", "W"},
    {"/energyConsumed", "Energy consumed in all.", "Ws"},
    {"/energyProduced", "Energy produced in all.", "Ws"},
    {"/t1EnergyConsumed", "Energy consumed in tariff 1.", "Ws"},
    {"/t1EnergyProduced", "Energy produced in tariff 1.", "Ws"},
    {"/t2EnergyConsumed", "Energy consumed in tariff 2.", "Ws"},
    {"/t2EnergyProduced", "Energy produced in tariff 2.", "Ws"},
    {"/t3EnergyConsumed", "Energy consumed in tariff 3.", "Ws"},
    {"/t3EnergyProduced", "Energy produced in tariff 3.", "Ws"},
    {"/t4EnergyConsumed", "Energy consumed in tariff 4.", "Ws"},
    {"/t4EnergyProduced", "Energy produced in tariff 4.", "Ws"},
    {"/t5EnergyConsumed", "Energy consumed in tariff 5.", "Ws"},
    {"/t5EnergyProduced", "Energy produced in tariff 5.", "Ws"},
    {"/t6EnergyConsumed", "Energy consumed in tariff 6.", "Ws"},
    {"/t6EnergyProduced", "Energy produced in tariff 6.", "Ws"},
};

} // namespace

const std::vector<Description>& descriptionsOf(std::string_view format) {
    static const std::map<std::string_view, const Descriptions*> all = {{"serial", &serial},
                                                                        {"attached", &attached},
                                                                        {"supported", &supported},
                                                                        {"config", &config},
                                                                        {"message", &message}};
    return *all.at(format);
}

} // namespace inspector
