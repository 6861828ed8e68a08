#include "support/Memory.h"

#include "support/contest.h"

#include <algorithm>

namespace bench {
namespace {

constexpr std::size_t page = 4096;

} // namespace

Memory::Memory(std::size_t size, std::size_t place)
    : m_pages(static_cast<char*>(std::aligned_alloc(page, (place + size + page) / page * page))),
      m_data(m_pages.get() + place)
{
    insist(m_pages != nullptr, "not enough memory");
    std::copy_n(noise(size).data(), size, m_data);
}

} // namespace bench
