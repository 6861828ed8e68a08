#include "PlainReader.h"

#include <Quarn/interfaces/IRandomAccessIO.h>

#include <vector>

namespace {

constexpr int blockSize = 64 * 1024;

} // namespace

QString PlainReader::result() const
{
    return QStringLiteral("complete, joined at byte %1").arg(m_joinedAt);
}

QJsonObject PlainReader::details() const
{
    return {{QStringLiteral("joinedAt"), m_joinedAt}};
}

void PlainReader::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    m_joinedAt = reader->streamSize();
    std::vector<char> block(blockSize);
    int count = 0;
    while (!stopped() && (count = reader->read(block.data(), blockSize)) > 0)
        addBytes(count);
}
