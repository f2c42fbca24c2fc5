#include "core/application.h"
#include "core/command_line.h"
#include "core/startup.h"

int main(int argc, char** argv) {
    if (core::IsCommandLine(argc, argv))
        return core::RunCommandLine(argc, argv);
    if (!core::CheckDisplay(argc, argv))
        return 1;
    core::Application app(argc, argv);
    return core::Main(app);
}
