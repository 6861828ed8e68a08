#include "Secret.h"

#include "platform/wipe.h"

Secret& Secret::operator=(Secret&& other) noexcept
{
    m_bytes.swap(other.m_bytes);
    return *this;
}

Secret::~Secret()
{
    if (m_bytes.isDetached())
        wipe(m_bytes.data(), std::size_t(m_bytes.capacity()));
}
