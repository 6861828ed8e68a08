#include "Secret.h"

#include <cstring>

Secret& Secret::operator=(Secret&& other) noexcept
{
    m_bytes.swap(other.m_bytes);
    return *this;
}

Secret::~Secret()
{
    if (m_bytes.isDetached())
        ::explicit_bzero(m_bytes.data(), std::size_t(m_bytes.capacity()));
}
