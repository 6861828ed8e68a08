#ifndef QUARN_TESTS_SUPPORT_RESOURCELIMIT_H
#define QUARN_TESTS_SUPPORT_RESOURCELIMIT_H

#include "support/posix.h"

#include <QtGlobal>

#include <csignal>
#include <utility>

/** A limit of this process for as long as the object lives; none on a system without POSIX. */
class ResourceLimit
{
public:
    enum Resource { FileSize, Memory, OpenFiles };

#if QUARN_HAS_POSIX
    ResourceLimit(Resource resource, qint64 most) : m_resource(resource)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        m_before = exchange(rlim_t(most));
    }
    ~ResourceLimit()
    {
        exchange(m_before);
    }
#else
    ResourceLimit(Resource, qint64) { }
    ~ResourceLimit() { }
#endif
    ResourceLimit(const ResourceLimit&) = delete;
    ResourceLimit& operator=(const ResourceLimit&) = delete;

#if QUARN_HAS_POSIX
private:
    rlim_t exchange(rlim_t current) const
    {
        const auto resource = m_resource == FileSize ? RLIMIT_FSIZE
                              : m_resource == Memory ? RLIMIT_AS
                                                     : RLIMIT_NOFILE;
        rlimit limit;
        ::getrlimit(resource, &limit);
        std::swap(limit.rlim_cur, current);
        ::setrlimit(resource, &limit);
        return current;
    }

    const Resource m_resource;
    rlim_t m_before = 0;
#endif
};

#endif
