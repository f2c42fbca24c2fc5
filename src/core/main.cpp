#include "core/application.h"
#include "core/startup.h"

int main(int argc, char** argv) {
    core::Application app(argc, argv);
    return core::Main(app);
}
