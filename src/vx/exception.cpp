#include "vx/exception.h"

#include <iterator>
#include <utility>

namespace vx {

Exception::Exception(const std::string& what) : std::runtime_error(what) {}

Exception::Exception(const char* what) : std::runtime_error(what) {}

Exception::Exception(Type type, const std::string& what) : Exception(type, what, std::string()) {}

Exception::Exception(Type type, const char* what) : Exception(type, what, std::string()) {}

Exception::Exception(const std::string& what, std::string userMessage)
    : Exception(Type::failed, what, std::move(userMessage)) {}

Exception::Exception(Type type, const std::string& what, std::string userMessage)
    : std::runtime_error(what), d(std::make_shared<D>(D{type, std::move(userMessage)})) {}

Exception::Type Exception::type() const {
    return d ? d->type : Type::failed;
}

const std::string& Exception::userMessage() const {
    static const std::string none;
    return d ? d->userMessage : none;
}

EnumTable vxEnum(Exception::Type) {
    using enum Exception::Type;
    static constexpr EnumRow x[] = {{failed, "failed"},
                                    {overloaded, "overloaded"},
                                    {disconnected, "disconnected"},
                                    {unimplemented, "unimplemented"}};
    return {std::begin(x), std::end(x), "vx::Exception"};
}

std::ostream& operator<<(std::ostream& stream, Exception::Type type) {
    detail::write(stream, type);
    return stream;
}

} // namespace vx
