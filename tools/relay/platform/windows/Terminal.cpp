#include "platform/Terminal.h"

#include <QString>

#include <utility>

#include <windows.h>

namespace {

constexpr DWORD longest = 1024;

HANDLE openConsole(const wchar_t* name)
{
    return ::CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         nullptr, OPEN_EXISTING, 0, nullptr);
}

/** Ctrl+C only ends the line, so that the echo comes back. */
BOOL WINAPI endLine(DWORD event)
{
    return event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT;
}

} // namespace

struct Terminal::State
{
    const HANDLE input = openConsole(L"CONIN$");
    const HANDLE output = openConsole(L"CONOUT$");
    DWORD before = 0;
    bool isTerminal = false;
};

Terminal::Terminal() : m_state(std::make_unique<State>())
{
    m_state->isTerminal
        = m_state->output != INVALID_HANDLE_VALUE
          && ::GetConsoleMode(m_state->input, &m_state->before)
          && ::SetConsoleMode(m_state->input, ENABLE_LINE_INPUT | ENABLE_PROCESSED_INPUT);
    ::SetConsoleCtrlHandler(endLine, TRUE);
}

Terminal::~Terminal()
{
    ::SetConsoleCtrlHandler(endLine, FALSE);
    if (m_state->isTerminal)
        ::SetConsoleMode(m_state->input, m_state->before);
    for (const HANDLE handle : {m_state->input, m_state->output})
        if (handle != INVALID_HANDLE_VALUE)
            ::CloseHandle(handle);
}

bool Terminal::isUsable() const
{
    return m_state->isTerminal;
}

void Terminal::print(const QString& text) const
{
    DWORD count = 0;
    ::WriteConsoleW(m_state->output, text.utf16(), DWORD(text.size()), &count, nullptr);
}

Secret Terminal::line() const
{
    wchar_t characters[longest];
    DWORD count = 0;
    if (!::ReadConsoleW(m_state->input, characters, longest, &count, nullptr))
        count = 0;
    const bool ended = count > 0 && characters[count - 1] == L'\n';
    count = ended ? count - 1 : 0;
    if (count > 0 && characters[count - 1] == L'\r')
        --count;
    QByteArray line;
    line.resize(int(count) * 3); // as many as UTF-8 needs at most
    line.truncate(::WideCharToMultiByte(CP_UTF8, 0, characters, int(count), line.data(),
                                        int(line.size()), nullptr, nullptr));
    ::SecureZeroMemory(characters, sizeof characters);
    return Secret(std::move(line));
}
