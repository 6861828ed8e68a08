#ifndef QUARN_MODULE_REGISTERTRANSLATIONS_H
#define QUARN_MODULE_REGISTERTRANSLATIONS_H

#include <Quarn/quarn_export.h>

namespace kel {

/**
 * Makes the translation catalogues in ":/Translations" available. A program that links Quarn
 * statically calls it before it loads one of them: a linker leaves out what nobody asks for. With
 * the shared library they are there when it is loaded, and the call changes nothing.
 *
 * \par Threads
 * Any thread may call it, any number of times.
 */
QUARN_EXPORT void registerTranslations();

} // namespace kel
#endif
