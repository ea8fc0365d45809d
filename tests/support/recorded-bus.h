#pragma once

#include <string>
#include <vector>

/// What this process's main thread asked of a Modbus connection, call by call: the making, opening
/// and closing of contexts, their time-outs and error recovery, the choice of a slave, the pauses
/// and the reads. The calls go on to the libraries.
namespace recorded_bus {

/// The calls since the start or the last `take`, in order, as in
///
///     modbus_new_rtu /dev/ttymxc2 9600 N 2 2
///     modbus_new_tcp 127.0.0.1 502
///     modbus_connect
///     modbus_set_response_timeout 5 0
///     modbus_set_slave 7
///     usleep 20000
///     modbus_read_input_registers 30001 x2
std::vector<std::string> take();

/// Lets every read of holding registers that succeeds tell @p words words, whatever it brought.
void letReadsTell(int words);

} // namespace recorded_bus
