#include <Quarn/platform/Trash_p.h>

#include <Quarn/platform/windows/SystemCalls_p.h>
#include <Quarn/platform/windows/SystemPath_p.h>

namespace kel {

bool moveToTrash(const QString& path)
{
    // The shell takes a list of names, each with a zero behind it and one more at the end, and
    // finds nothing under a name with forward slashes.
    std::wstring names = shellPath(path);
    if (names.empty())
        return false;
    names += L'\0';
    SHFILEOPSTRUCTW operation = {};
    operation.wFunc = FO_DELETE;
    operation.pFrom = names.c_str();
    operation.fFlags = FOF_ALLOWUNDO;
    return systemCalls().fileOperation(&operation) == 0;
}

} // namespace kel
