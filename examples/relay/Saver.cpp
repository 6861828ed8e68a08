#include "Saver.h"

#include <Quarn/interfaces/IRandomAccessIO.h>
#include <Quarn/streams/StreamUtils.h>

namespace {

constexpr qint64 portion = 64 * 1024;

} // namespace

Saver::Saver(const QString& path, const Channel& channel, const StopSwitch& stop)
    : Consumer(QStringLiteral("saver"), channel, stop), m_file(path)
{
    m_file.create();
}

Saver::~Saver() = default;

AtomicFile& Saver::file()
{
    return m_file;
}

void Saver::consume(const boost::shared_ptr<kel::IRandomAccessIO>& reader)
{
    qint64 count = portion;
    while (!stopped() && count == portion) {
        count = kel::StreamUtils::copy(reader.get(), &m_file, portion);
        addBytes(count);
    }
    if (deliveredAll(*reader) || m_file.failed())
        m_file.finish(bytes());
}
