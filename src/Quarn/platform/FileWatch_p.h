#ifndef QUARN_PLATFORM_FILEWATCH_P_H
#define QUARN_PLATFORM_FILEWATCH_P_H

#include <memory>

namespace kel {

/**
 * \brief Waits until something happens to an open file, whatever its name is meanwhile.
 *
 * Where the system doesn't report what others do to the file, as on a network, it is a matter of
 * looking again, which waits are too short to put off for long: at most a second.
 *
 * \par Threads
 * wake() may be called from any, the rest from one at a time.
 */
class FileWatch
{
public:
    /** \a file must stay open. */
    explicit FileWatch(int file);
    FileWatch(const FileWatch&) = delete;
    FileWatch& operator=(const FileWatch&) = delete;
    ~FileWatch();

    /** Returns at once when something happened since the last wait began, or wake() was called ever. */
    void wait(int msecs);

    /** Ends the wait that runs and all later ones. */
    void wake();

private:
    struct Handles;
    const std::unique_ptr<Handles> m_handles;
};

} // namespace kel
#endif
