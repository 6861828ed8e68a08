#include <Quarn/fileutils/ListedNames_p.h>

#include <Quarn/platform/FolderListing_p.h>

namespace kel {
namespace {

constexpr int questionsBeforeListing = 32; // the folder may be a large one

} // namespace

bool ListedNames::contains(const QString& name)
{
    if (m_questions < questionsBeforeListing && ++m_questions == questionsBeforeListing) {
        const QStringList listed = visibleNames(m_folder);
        m_names.reserve(listed.size());
        for (const QString& entry : listed) {
            // With a colon Qt may take a name for that of a resource.
            if (!entry.contains(QLatin1Char(':')))
                m_names.insert(entry);
        }
    }
    return m_names.contains(name);
}

} // namespace kel
