#include "modbus/main.h"

int main() { // NOLINT(bugprone-exception-escape): the service manager starts it anew
    return orv::modbusreader::runReader();
}
