#include <Quarn/platform/windows/SystemPath_p.h>

#include <Quarn/platform/SystemPath_p.h>

#include <QDir>

#include <windows.h>

namespace kel {
namespace {

bool beginsWith(const std::wstring& text, const wchar_t* beginning)
{
    return text.rfind(beginning, 0) == 0;
}

/** As the system completes and cleans it; empty if it refuses. */
std::wstring fullPath(const std::wstring& path)
{
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD size
            = ::GetFullPathNameW(path.c_str(), DWORD(full.size()), full.data(), nullptr);
        const bool fits = size < full.size();
        full.resize(size);
        if (fits)
            return full;
    }
}

} // namespace

std::wstring systemPath(const QString& path)
{
    const std::wstring full = fullPath(shellPath(path));
    if (full.empty() || beginsWith(full, L"\\\\?\\") || beginsWith(full, L"\\\\.\\"))
        return full;
    return beginsWith(full, L"\\\\") ? L"\\\\?\\UNC\\" + full.substr(2) : L"\\\\?\\" + full;
}

std::wstring shellPath(const QString& path)
{
    return hasSystemForm(path) ? QDir::toNativeSeparators(path).toStdWString() : std::wstring();
}

} // namespace kel
