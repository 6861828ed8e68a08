#include <Quarn/access/AsyncFile.h>

#include <Quarn/access/AsyncFileQueue_p.h>

#include <utility>

namespace kel {

AsyncFile::AsyncFile(const QString& fileName, QThreadPool* pool)
    : m_queue(std::make_shared<Queue>(fileName, pool))
{ }

AsyncFile::~AsyncFile()
{
    m_queue->abandon();
}

AsyncFile::Request AsyncFile::open(QIODevice::OpenMode mode)
{
    AsyncFileRequest request(AsyncFileRequest::Open);
    request.mode = mode;
    return m_queue->add(std::move(request));
}

AsyncFile::Request AsyncFile::read(qint64 maxSize)
{
    AsyncFileRequest request(AsyncFileRequest::Read);
    request.number = maxSize;
    return m_queue->add(std::move(request));
}

AsyncFile::Request AsyncFile::write(const QByteArray& data)
{
    AsyncFileRequest request(AsyncFileRequest::Write);
    request.data = data;
    return m_queue->add(std::move(request));
}

AsyncFile::Request AsyncFile::seek(qint64 position)
{
    AsyncFileRequest request(AsyncFileRequest::Seek);
    request.number = position;
    return m_queue->add(std::move(request));
}

AsyncFile::Request AsyncFile::flush()
{
    return m_queue->add(AsyncFileRequest(AsyncFileRequest::Flush));
}

AsyncFile::Request AsyncFile::close()
{
    return m_queue->add(AsyncFileRequest(AsyncFileRequest::Close));
}

int AsyncFile::queuedRequests() const
{
    return m_queue->requests();
}

qint64 AsyncFile::queuedBytes() const
{
    return m_queue->bytes();
}

void AsyncFile::cancel()
{
    m_queue->cancel();
}

bool AsyncFile::waitForFinished(int waitMsecs)
{
    return m_queue->waitForFinished(waitMsecs);
}

} // namespace kel
