// Copies between streams and within one, against a plain move of bytes.
#include "Input.h"

#include "support/TestStream.h"
#include "support/testBytes.h"

#include <Quarn/streams/StreamUtils.h>

#include <algorithm>

namespace {

constexpr int most = 12000; // nearly three passes

TestStream::Manner manner(Input& input)
{
    TestStream::Manner how;
    if (input.flag())
        how.mostAtOnce = 40 + input.number(5000);
    if (input.number(3) == 1)
        how.failAfter = input.number(most);
    how.exaggerates = input.number(7) == 1;
    return how;
}

bool isSound(const TestStream::Manner& how)
{
    return how.failAfter == TestStream::Manner().failAfter && !how.exaggerates;
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    Input input(data, size);
    const QByteArray bytes = testBytes(input.number(most));
    TestStream first(bytes, manner(input));
    TestStream second(testBytes(input.number(most)).toHex().left(most), manner(input));
    TestStream& target = input.flag() ? first : second;
    const QByteArray before = target.bytes;
    const int from = input.number(most);
    const int to = input.number(most);
    const int length = input.number(most + 1) - 1;

    const qint64 count = kel::StreamUtils::copy(&first, from, &target, to, length);

    const int available = std::max(int(bytes.size()) - from, 0);
    int all = length < 0 ? available : std::min(length, available);
    // Backwards the end comes first: where a whole pass lies behind that of the source, nothing does.
    if (from < to && length - available >= (length - 1) % 4096 + 1 && length > available)
        all = length - std::min(length, 4096) >= available ? 0 : all;
    QByteArray after = before;
    if (all > 0) {
        after.append(QByteArray(std::max(to + all - int(after.size()), 0), '\0'));
        after.replace(to, all, bytes.mid(from, all));
    }

    if (isSound(first.manner) && isSound(target.manner)) {
        require(count == all && target.bytes == after, "all is copied, short transfers or not");
        return 0;
    }
    require(count >= 0 && count <= all, "no more than there is");
    require(target.bytes.size() <= std::max(before.size(), after.size()),
            "nothing behind the range");
    for (int i = 0; i < target.bytes.size(); ++i) {
        const char byte = target.bytes.at(i);
        const char old = i < before.size() ? before.at(i) : '\0';
        require(byte == old || byte == after.at(i), "each byte is the old or the new one");
    }
    return 0;
}
