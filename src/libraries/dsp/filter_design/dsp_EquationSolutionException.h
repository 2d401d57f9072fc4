#pragma once

#include "core/core_Exception.h"

namespace dsp {

// Thrown by a closed-form solver that finds no admissible solution. It is
// caught inside the design primitives, which fall back to a simpler design;
// it never leaves the filter library.
class EquationSolutionException : public core::Exception
{
public:
    const char* what() const noexcept override { return "dsp::EquationSolutionException"; }
};

} // namespace dsp
