#ifndef QUARN_PLATFORM_SPECIALFOLDERS_P_H
#define QUARN_PLATFORM_SPECIALFOLDERS_P_H

#include <QString>

namespace kel {

/** The folders by the numbers of the Windows shell (CSIDL), which stand for them everywhere. */
enum SpecialFolder {
    DocumentsFolder = 0x05,
    TrashFolder = 0x0A,
    RoamingDataFolder = 0x1A,
    LocalDataFolder = 0x1C,
    ProgramsFolder = 0x26,
    OtherProgramsFolder = 0x2A
};

/**
 * The path of the folder with the number \a csidl as the system writes it; empty when it knows no
 * such folder. Asks the system every time and creates nothing, so the folder need not exist.
 */
QString specialFolder(int csidl);

} // namespace kel
#endif
