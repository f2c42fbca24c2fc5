#include "platform/console.h"

#include <unistd.h>

namespace platform {

void attachParentConsole() {}

bool stderrIsTerminal() {
    return isatty(fileno(stderr)) != 0;
}

void writeText(std::FILE* stream, const QString& text) {
    const QByteArray bytes = text.toLocal8Bit();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace platform
