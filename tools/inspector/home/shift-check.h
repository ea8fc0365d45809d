#pragma once

#include "inspector/home/home.h"

#include <cstddef>
#include <map>
#include <vector>

namespace inspector {

/// Looks at the values of registers for those of another register, as they come when each answer is
/// taken for that of the next request.
class ShiftCheck {
public:
    /// A read of this meter begins.
    void begin(int slaveAddress);
    /// The next register of it holds @p value.
    void take(double value, std::string_view fieldType);
    /// The next register of it could not be read.
    void fail(bool isTimeout);
    /// The read is over. Whether its values are shifted.
    bool end();

private:
    struct Value {
        double value;
        std::string fieldType;
    };

    bool areShifted(const std::vector<Value>& last) const;

    /// Of the last whole read, by the address.
    std::map<int, std::vector<Value>> m_last;
    std::vector<Value> m_now;
    int m_slaveAddress = 0;
    /// Of the read before on the bus.
    int m_before = 0;
    /// A time-out came and nothing has shown yet that it was without consequence.
    bool m_isSuspicious = false;
    bool m_hasFailed = false;
};

} // namespace inspector
