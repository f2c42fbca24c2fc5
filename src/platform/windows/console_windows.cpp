// windows.h first: the C runtime's io.h and the console functions build on it.
#include "platform/console.h"

#include <io.h>
#include <windows.h>

namespace platform {

namespace {

HANDLE handleOf(std::FILE* stream) {
    return GetStdHandle(stream == stderr ? STD_ERROR_HANDLE : STD_OUTPUT_HANDLE);
}

bool isConsole(HANDLE handle) {
    DWORD mode = 0;
    return handle != nullptr && handle != INVALID_HANDLE_VALUE && GetConsoleMode(handle, &mode);
}

// A handle that already leads somewhere: a console, or a file or pipe the caller redirected to.
bool leadsSomewhere(DWORD which) {
    const HANDLE handle = GetStdHandle(which);
    return handle != nullptr && handle != INVALID_HANDLE_VALUE &&
           GetFileType(handle) != FILE_TYPE_UNKNOWN;
}

} // namespace

void attachParentConsole() {
    const bool output = leadsSomewhere(STD_OUTPUT_HANDLE);
    const bool error = leadsSomewhere(STD_ERROR_HANDLE);
    if ((output && error) || !AttachConsole(ATTACH_PARENT_PROCESS))
        return;
    // The C runtime's streams were set up before there was a console; point the ones that lead
    // nowhere at it.
    if (!output && std::freopen("CONOUT$", "w", stdout))
        SetStdHandle(STD_OUTPUT_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stdout))));
    if (!error && std::freopen("CONOUT$", "w", stderr))
        SetStdHandle(STD_ERROR_HANDLE, reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stderr))));
}

bool stderrIsTerminal() {
    return _isatty(_fileno(stderr)) != 0;
}

void writeText(std::FILE* stream, const QString& text) {
    std::fflush(stream);
    const HANDLE handle = handleOf(stream);
    if (isConsole(handle)) {
        DWORD written = 0;
        WriteConsoleW(handle, reinterpret_cast<const wchar_t*>(text.utf16()), DWORD(text.size()),
                      &written, nullptr);
        return;
    }
    // A file or a pipe (a scheduled task's log, another program) gets UTF-8: the system's 8-bit
    // code page has no room for many characters of item names.
    const QByteArray bytes = text.toUtf8();
    std::fwrite(bytes.constData(), 1, size_t(bytes.size()), stream);
    std::fflush(stream);
}

} // namespace platform
