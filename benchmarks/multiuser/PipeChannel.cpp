#include "multiuser/Channel.h"

#include "support/contest.h"

#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <vector>

namespace bench {
namespace {

/** One pipe for each reader; the producer writes each block to every one. */
class PipeChannel : public Channel
{
public:
    explicit PipeChannel(int readers) : m_pipes(std::size_t(readers))
    {
        for (auto& pipe : m_pipes)
            insist(::pipe2(pipe.data(), O_CLOEXEC) == 0, "no pipe could be made");
    }

    ~PipeChannel() override
    {
        for (const auto& pipe : m_pipes)
            ::close(pipe[0]);
    }

    bool write(const char* data, int size) override
    {
        for (const auto& pipe : m_pipes) {
            for (int done = 0; done < size;) {
                const ssize_t count = ::write(pipe[1], data + done, std::size_t(size - done));
                if (count <= 0)
                    return false;
                done += int(count);
            }
        }
        return true;
    }

    void close() override
    {
        for (const auto& pipe : m_pipes)
            ::close(pipe[1]);
    }

    Read reader(int number) override
    {
        return [pipe = m_pipes[std::size_t(number)][0]](char* data, int maxSize) {
            return int(::read(pipe, data, std::size_t(maxSize)));
        };
    }

    Read poller() override { return {}; }

private:
    std::vector<std::array<int, 2>> m_pipes;
};

} // namespace

std::unique_ptr<Channel> makePipeChannel(int readers)
{
    return std::make_unique<PipeChannel>(readers);
}

} // namespace bench
