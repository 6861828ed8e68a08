#include "platform/StandardStreams.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <fcntl.h>
#include <io.h>
#include <windows.h>

namespace {

HANDLE handleOf(std::FILE* stream)
{
    return ::GetStdHandle(stream == stdout ? STD_OUTPUT_HANDLE : STD_ERROR_HANDLE);
}

bool isConsole(HANDLE handle)
{
    DWORD mode = 0;
    return ::GetConsoleMode(handle, &mode);
}

/** For errno, which the system's calls don't set. */
int numberOf(DWORD error)
{
    switch (error) {
    case ERROR_BROKEN_PIPE:
    case ERROR_NO_DATA:
    case ERROR_PIPE_NOT_CONNECTED:
        return EPIPE;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
        return ENOSPC;
    case ERROR_INVALID_HANDLE:
    case ERROR_ACCESS_DENIED: // one that is for reading
        return EBADF;
    default:
        return EIO;
    }
}

/** Has \a call write everything, in pieces that a system takes; it answers how much it wrote. */
template <class Call>
bool writeAll(qint64 size, const Call& call)
{
    constexpr qint64 largestPiece = 16384; // old consoles have little room
    DWORD count = 0;
    for (qint64 done = 0; done < size; done += count) {
        if (!call(done, DWORD(std::min(size - done, largestPiece)), &count) || count == 0) {
            errno = numberOf(::GetLastError());
            return false;
        }
    }
    return true;
}

DWORD modeBefore = 0; // of the console

} // namespace

void StandardStreams::prepare()
{
    ::_setmode(0, _O_BINARY);
}

bool StandardStreams::write(std::FILE* stream, const QByteArray& bytes)
{
    return writeAll(bytes.size(), [&](qint64 from, DWORD size, DWORD* count) {
        return ::WriteFile(handleOf(stream), bytes.constData() + from, size, count, nullptr);
    });
}

bool StandardStreams::write(std::FILE* stream, const QString& text)
{
    const HANDLE handle = handleOf(stream);
    if (!isConsole(handle))
        return write(stream, text.toUtf8());
    return writeAll(text.size(), [&](qint64 from, DWORD size, DWORD* count) {
        return ::WriteConsoleW(handle, text.utf16() + from, size, count, nullptr);
    });
}

bool StandardStreams::errorIsTerminal()
{
    const HANDLE handle = handleOf(stderr);
    DWORD mode = 0;
    if (!::GetConsoleMode(handle, &mode))
        return false;
    if (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING)
        return true;
    if (!::SetConsoleMode(handle, mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING))
        return false; // before Windows 10
    modeBefore = mode;
    std::atexit([] { ::SetConsoleMode(handleOf(stderr), modeBefore); });
    return true;
}

bool StandardStreams::errorIsReady()
{
    return true; // it cannot be asked
}

int StandardStreams::terminalWidth()
{
    CONSOLE_SCREEN_BUFFER_INFO screen = {};
    const bool known = ::GetConsoleScreenBufferInfo(handleOf(stderr), &screen);
    const int width = screen.srWindow.Right - screen.srWindow.Left + 1;
    return known && width > 0 ? width : 80;
}
