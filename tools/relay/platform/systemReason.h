#ifndef RELAY_PLATFORM_SYSTEMREASON_H
#define RELAY_PLATFORM_SYSTEMREASON_H

#include <QString>

#include <system_error>

/** The system's text for the number \a error, as it stands in errno. */
inline QString systemReason(int error)
{
    return QString::fromLocal8Bit(std::generic_category().message(error).c_str());
}

#endif
