#ifndef QUARN_FILEJOBS_FOLDERSTACK_P_H
#define QUARN_FILEJOBS_FOLDERSTACK_P_H

#include <Quarn/platform/OpenFolder_p.h>

#include <vector>

namespace kel {

/** The folders from one down to another. Of a deep tree only the first and the last are open. */
class FolderStack
{
public:
    void push(OpenFolder folder);
    /** \return systemError::none when the folder above is there, and open */
    int pop();

    OpenFolder& top() { return m_folders.back(); }
    OpenFolder& bottom() { return m_folders.front(); }
    void clear() { m_folders.clear(); }
    void shrinkToBottom() { m_folders.resize(1); }

private:
    std::vector<OpenFolder> m_folders;
};

} // namespace kel
#endif
