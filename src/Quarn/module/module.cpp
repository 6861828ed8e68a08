#include <Quarn/module/commentStreamSuffix.h>
#include <Quarn/module/registerTranslations.h>

// What the library does when it is loaded: it registers the translation catalogues as
// ":/Translations", then creates the suffix. Unloading undoes both in reverse order. Only within
// one source is that order certain, so the generated registration is included here.
#include "translationsResource.inc"

// In no namespace, because the macro declares a function where it stands.
static void registerCatalogues()
{
    Q_INIT_RESOURCE(QuarnTranslations);
}

namespace kel {

// On the heap, unlike a QStringLiteral: copies of it may outlive the library.
const QString commentStreamSuffix = QString::fromLatin1(":comment");

void registerTranslations()
{
    registerCatalogues();
}

} // namespace kel
