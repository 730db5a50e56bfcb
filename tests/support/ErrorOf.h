#pragma once

#include "components/Error.h"

#include <functional>

// The message of the Error that action raises; empty when it raises none.
inline QString errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const Error& e) {
        return e.message();
    }
    return {};
}
