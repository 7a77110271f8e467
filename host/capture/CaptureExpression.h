#pragma once

#include "host/capture/CaptureSource.h"

#include <memory>
#include <string>

namespace ketmon {

// A capture filter expression, as capture programs take it, that is tested against frames here. It belongs to
// one thread at a time.
class CCaptureExpression
{
public:
    CCaptureExpression() = default;
    CCaptureExpression(CCaptureExpression const &) = delete;
    CCaptureExpression & operator=(CCaptureExpression const &) = delete;
    virtual ~CCaptureExpression() = default;

    // Throws CFailure, exit code 2, where it is no expression for frames of that link type.
    virtual bool passes(CCapturedFrame const & frame) const = 0;
};

// Throws CFailure, exit code 2, for a text that is no expression for any link type, and on a system that has
// no compiler of expressions.
std::unique_ptr<CCaptureExpression> compiledExpression(std::string const & text);

} // namespace ketmon
