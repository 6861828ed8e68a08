#ifndef QUARN_TESTS_MULTIUSER_PRODUCED_H
#define QUARN_TESTS_MULTIUSER_PRODUCED_H

#include <QByteArray>

#include <algorithm>
#include <random>
#include <thread>

/** The byte that belongs at \a position of what produce() writes. */
inline char byteAt(qint64 position)
{
    return char((position * 2654435761) >> 13);
}

/** Writes \a size bytes in blocks of random lengths, each again when it is refused; whether all went. */
template <typename Stream>
bool produce(Stream& stream, qint64 size, unsigned seed)
{
    std::minstd_rand random(seed);
    QByteArray block;
    for (qint64 done = 0; done < size; done += block.size()) {
        block.resize(int(std::min<qint64>(size - done, 1 + qint64(random() % 5000))));
        for (int i = 0; i < int(block.size()); ++i)
            block[i] = byteAt(done + i);
        while (!stream.writeBlock(block.constData(), int(block.size()))
               && !stream.ioFailureDetected())
            std::this_thread::yield();
        if (random() % 8 == 0)
            std::this_thread::yield();
    }
    stream.finishIO();
    return stream.streamSize() == size;
}

#endif
