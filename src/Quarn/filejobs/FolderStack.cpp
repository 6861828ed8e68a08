#include <Quarn/filejobs/FolderStack_p.h>

#include <Quarn/platform/SystemError_p.h>

#include <utility>

namespace kel {
namespace {

constexpr std::size_t openFolders = 8; // beside the first one; a copy has two such stacks

} // namespace

void FolderStack::push(OpenFolder folder)
{
    m_folders.push_back(std::move(folder));
    if (m_folders.size() > openFolders + 1)
        m_folders[m_folders.size() - openFolders - 1].rest();
}

int FolderStack::pop()
{
    const OpenFolder left = std::move(m_folders.back());
    m_folders.pop_back();
    return m_folders.empty() ? systemError::none : m_folders.back().reopen(left);
}

} // namespace kel
