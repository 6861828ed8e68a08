#ifndef QUARN_PLATFORM_LINUX_FILEATTRIBUTES_P_H
#define QUARN_PLATFORM_LINUX_FILEATTRIBUTES_P_H

#include <QByteArray>

#include <vector>

struct stat;

namespace kel {

/** Gives files and folders the attributes of others, but those that the file system cannot keep. */
class FileAttributes
{
public:
    FileAttributes();

    /** Owner, extended attributes, permissions and times; \return an error number or 0 */
    int copy(int source, const struct stat& status, int target);

    /** Owner and times of what is named: a link itself, or a pipe. */
    int copyNamed(const struct stat& status, int folder, const char* name);

    /** The comment of the file copied last when the target has no room for it as an attribute. */
    const QByteArray& commentLeft() const { return m_commentLeft; }

private:
    int copyExtended(int source, int target);
    int copyExtended(int source, int target, const char* name);

    const bool m_isRoot;
    std::vector<char> m_names;
    std::vector<char> m_value;
    QByteArray m_commentLeft;
};

} // namespace kel
#endif
