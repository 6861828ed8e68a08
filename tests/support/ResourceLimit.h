#ifndef QUARN_TESTS_SUPPORT_RESOURCELIMIT_H
#define QUARN_TESTS_SUPPORT_RESOURCELIMIT_H

#include "support/posix.h"

#include <QtGlobal>

#include <csignal>

/** A limit of this process for as long as the object lives; none on a system without POSIX. */
class ResourceLimit
{
public:
    enum Resource { FileSize, Memory, OpenFiles };

#if QUARN_HAS_POSIX
    ResourceLimit(Resource resource, qint64 most) : m_resource(resource)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        change([most](rlimit& limit) { limit.rlim_cur = rlim_t(most); });
    }
    ~ResourceLimit()
    {
        change([this](rlimit& limit) { limit.rlim_cur = m_before; });
    }
#else
    ResourceLimit(Resource, qint64) { }
    ~ResourceLimit() { }
#endif
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

#if QUARN_HAS_POSIX
private:
    template <typename Change>
    void change(Change change)
    {
        const auto resource = m_resource == FileSize ? RLIMIT_FSIZE
                              : m_resource == Memory ? RLIMIT_AS
                                                     : RLIMIT_NOFILE;
        rlimit limit;
        ::getrlimit(resource, &limit);
        m_before = limit.rlim_cur;
        change(limit);
        ::setrlimit(resource, &limit);
    }

    const Resource m_resource;
    rlim_t m_before = 0;
#endif
};

#endif
