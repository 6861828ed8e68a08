// One thread writes what it gets on standard input; two others read it at the same time, each at its
// own pace: one counts the lines, the other passes the bytes on to standard output.

#include <Quarn/multiuser/MultiUserBuffer.h>

#include <QCoreApplication>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using Buffer = boost::shared_ptr<kel::MultiUserBuffer>;

//! [read]
void countLines(const Buffer& buffer)
{
    const auto reader = kel::MultiUserBuffer::createReaderInterface(buffer, true);
    char data[4096];
    std::ptrdiff_t lines = 0;
    for (int count; (count = reader->read(data, sizeof data)) > 0;) // waits; 0 is the end
        lines += std::count(data, data + count, '\n');
    std::fprintf(stderr, "%td lines%s\n", lines, reader->ioFailureDetected() ? ", not all" : "");
}
//! [read]

void passOn(const Buffer& buffer)
{
    const auto reader = kel::MultiUserBuffer::createReaderInterface(buffer, true);
    char data[65536];
    for (int count; (count = reader->read(data, sizeof data)) > 0;)
        std::fwrite(data, 1, std::size_t(count), stdout);
}

} // namespace

int main(int argc, char** argv)
{
    const QCoreApplication application(argc, argv);
    //! [write]
    const Buffer buffer(new kel::MultiUserBuffer);
    std::thread counter(countLines, buffer);
    std::thread copier(passOn, buffer);
    char data[4096];
    for (std::size_t count; (count = std::fread(data, 1, sizeof data, stdin)) > 0;)
        if (!buffer->writeBlock(data, int(count))) // beyond 2 GiB or out of memory
            break;
    if (std::ferror(stdin))
        buffer->setErrorString(QStringLiteral("Standard input failed"));
    buffer->finishIO(); // the readers' end
    counter.join();
    copier.join();
    return buffer->ioFailureDetected() ? EXIT_FAILURE : EXIT_SUCCESS;
    //! [write]
}
