#ifndef QUARN_TESTS_SUPPORT_MOUNTEDFOLDER_H
#define QUARN_TESTS_SUPPORT_MOUNTEDFOLDER_H

#include "support/TemporaryFolder.h"
#include "support/posix.h"

#if QUARN_HAS_POSIX
#include <sched.h>
#include <sys/mount.h>

/** A folder with a file system of its own, which only this program sees and which goes with it. */
class MountedFolder : public TemporaryFolder
{
public:
    explicit MountedFolder(const char* type = "tmpfs", const char* options = nullptr)
        : m_isMounted(isApart() && ::mount(type, root(), type, 0, options) == 0)
    { }
    ~MountedFolder()
    {
        if (m_isMounted)
            ::umount2(root(), MNT_DETACH);
    }

    /** False for who may not mount; then it is a plain folder. */
    bool isMounted() const { return m_isMounted; }

private:
    static bool isApart()
    {
        static const bool done
            = ::unshare(CLONE_NEWNS) == 0
              && ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
        return done;
    }

    const bool m_isMounted;
};

#else

/** Wine has two drives, which are on one file system, but no rename leads from one to the other. */
class MountedFolder : public TemporaryFolder
{
public:
    explicit MountedFolder() : TemporaryFolder(QStringLiteral("Z:/tmp")) { }
};

#endif
#endif
