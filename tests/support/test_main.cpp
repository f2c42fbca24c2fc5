// Entry point of every test program: Qt needs its application object before any widget, timer
// or database connection exists.
#include "core/application.h"
#include "support/database_holder.h"

#include <cstring>
#include <gtest/gtest.h>

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--hold-database-locked") == 0)
        return testsupport::holdDatabaseLocked(argv[2]);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    core::Application app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
