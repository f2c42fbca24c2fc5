#pragma once

#include "core/shared_state.h"

#include <QString>

namespace db {

// The title of the program's message boxes: the shared program title once start-up has set it.
inline QString appTitle() {
    const QString& title = core::shared().strAppTitle;
    return title.isEmpty() ? core::kAppTitle : title;
}

} // namespace db
