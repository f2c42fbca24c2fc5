#include "core/application.h"
#include "core/command_line.h"
#include "core/startup.h"
#include "platform/console.h"

int main(int argc, char** argv) {
    if (core::IsCommandLine(argc, argv)) {
        platform::attachParentConsole();
        return core::RunCommandLine(argc, argv);
    }
#ifdef ORVANE_CONSOLE_COMPANION
    return core::StartWindowProgram(argc, argv);
#else
    if (!core::CheckDisplay(argc, argv))
        return 1;
    core::Application app(argc, argv);
    return core::Main(app);
#endif
}
