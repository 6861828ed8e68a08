#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/windows/SystemPath_p.h>

#include <windows.h>

#include <shellapi.h>

namespace kel {

TrashOutcome moveToTrash(const QString& path)
{
    // The shell takes a list of names, each with a zero behind it and one more at the end, and
    // finds nothing under a name with forward slashes.
    std::wstring names = systemPath(path);
    if (names.empty())
        return {ERROR_INVALID_NAME, QString()};
    names += L'\0';
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = names.c_str();
    operation.fFlags = FOF_ALLOWUNDO;
    return {::SHFileOperationW(&operation), QString()};
}

} // namespace kel
