#pragma once

#include "platform/app_error.h"

#include <QString>

#include <functional>

namespace testsupport {

// The AppError an action throws: its number (0 when it throws none) and description.
struct ThrownError {
    int number = 0;
    QString description;
};

inline ThrownError errorOf(const std::function<void()>& action) {
    try {
        action();
    } catch (const platform::AppError& error) {
        return {error.number(), error.description()};
    }
    return {};
}

} // namespace testsupport
