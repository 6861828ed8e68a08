#include <Quarn/platform/SpecialFolders_p.h>

#include <QLibrary>

#include <windows.h>

namespace kel {

QString specialFolder(int csidl)
{
    using GetFolder = BOOL(WINAPI*)(HWND, LPWSTR, int, BOOL);
    QLibrary shell(QString::fromLatin1("shell32"));
    const QFunctionPointer symbol = shell.resolve("SHGetSpecialFolderPathW");
    if (!symbol)
        return QString();
    wchar_t buffer[MAX_PATH] = {}; // stays empty when the call fails
    reinterpret_cast<GetFolder>(reinterpret_cast<void*>(symbol))(nullptr, buffer, csidl, FALSE);
    return QString::fromUtf16(reinterpret_cast<const char16_t*>(buffer));
}

} // namespace kel
