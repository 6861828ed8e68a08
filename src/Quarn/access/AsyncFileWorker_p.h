#ifndef QUARN_ACCESS_ASYNCFILEWORKER_P_H
#define QUARN_ACCESS_ASYNCFILEWORKER_P_H

#include <Quarn/access/AsyncFileRequest_p.h>
#include <Quarn/platform/SystemFile_p.h>

#include <vector>

namespace kel {

/**
 * \brief Carries out the requests to an AsyncFile, and knows of failures before.
 *
 * It blocks for as long as the system does. Calls may come from any thread, one at a time.
 */
class AsyncFileWorker
{
public:
    explicit AsyncFileWorker(const QString& fileName) : m_fileName(fileName) { }

    /** Whether \a more may be carried out together with \a batch, which is not empty. */
    bool joins(const std::vector<AsyncFileRequest>& batch, const AsyncFileRequest& more) const;

    /**
     * Carries out \a batch, whose requests join, and puts the result of each into \a results, which
     * has the room for them.
     */
    void carryOut(const std::vector<AsyncFileRequest>& batch, SystemFile::Wait& wait,
                  std::vector<AsyncFileResult>& results) noexcept;

    bool isOpen() const { return m_file.isOpen(); }

private:
    AsyncFileResult carryOut(const AsyncFileRequest& request, SystemFile::Wait& wait);
    bool join(const std::vector<AsyncFileRequest>& batch) noexcept;
    AsyncFileResult open(QIODevice::OpenMode mode, SystemFile::Wait& wait);
    AsyncFileResult read(const AsyncFileRequest& request, SystemFile::Wait& wait);
    AsyncFileResult write(const AsyncFileRequest& request, SystemFile::Wait& wait);
    AsyncFileResult close();
    void writeJoined(const std::vector<AsyncFileRequest>& batch, SystemFile::Wait& wait,
                     std::vector<AsyncFileResult>& results);
    AsyncFileResult noted(AsyncFileResult result);

    const QString m_fileName;
    SystemFile m_file;
    AsyncFileResult m_failure; // the first one since open() or close(), without data
    QByteArray m_joined; // its memory is used again, as the next one's
    std::vector<bool> m_takenBack; // whose data is not among it
};

} // namespace kel
#endif
