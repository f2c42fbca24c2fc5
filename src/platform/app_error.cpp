#include "platform/app_error.h"

namespace platform {

AppError::AppError(int number, const QString& description)
    : std::runtime_error(description.toStdString())
    , number_(number)
    , description_(description) {}

} // namespace platform
