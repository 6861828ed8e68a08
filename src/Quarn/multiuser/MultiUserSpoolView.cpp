#include <Quarn/multiuser/MultiUserSpoolView.h>

#include <utility>

namespace kel {

MultiUserSpoolView::MultiUserSpoolView(std::shared_ptr<const char> bytes, qint64 size)
    : m_bytes(std::move(bytes)), m_size(size)
{ }

bool MultiUserSpoolView::isEmpty() const
{
    return m_size == 0;
}

qint64 MultiUserSpoolView::size() const
{
    return m_size;
}

const char* MultiUserSpoolView::data() const
{
    return m_bytes.get();
}

} // namespace kel
