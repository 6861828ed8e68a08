#ifndef QUARN_PLATFORM_WINDOWS_SYSTEMCALLS_P_H
#define QUARN_PLATFORM_WINDOWS_SYSTEMCALLS_P_H

#include <QString>

#include <windows.h>

#include <shellapi.h>

namespace kel {

/** The calls of Windows whose arguments or answers a test must see to: it puts others in their place. */
struct SystemCalls
{
    decltype(&::CloseHandle) closeHandle = &::CloseHandle;
    decltype(&::GetFileInformationByHandleEx) fileInformation = &::GetFileInformationByHandleEx;
    decltype(&::FindFirstFileExW) findFirstFile = &::FindFirstFileExW;
    decltype(&::FindNextFileW) findNextFile = &::FindNextFileW;
    decltype(&::LogonUserW) logonUser = &::LogonUserW;
    decltype(&::SHFileOperationW) fileOperation = &::SHFileOperationW;
    /** Starts a program that nobody waits for; \a arguments go into its command line as they are. */
    bool (*startDetached)(const QString& program, const QString& arguments) = nullptr;
};

SystemCalls& systemCalls();

} // namespace kel
#endif
