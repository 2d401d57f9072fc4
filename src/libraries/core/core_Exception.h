#pragma once

#include <exception>

namespace core {

// Base of every exception the libraries throw. It carries no data: the type
// alone says what went wrong.
class Exception : public std::exception
{
public:
    Exception() noexcept = default;
    const char* what() const noexcept override { return "core::Exception"; }
};

} // namespace core
