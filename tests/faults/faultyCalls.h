#ifndef QUARN_TESTS_FAULTS_FAULTYCALLS_H
#define QUARN_TESTS_FAULTS_FAULTYCALLS_H

/**
 * Makes calls of the system fail that concern one folder and what is below it. Linked into a program
 * in front of all other libraries, or preloaded; then the variable
 * QUARN_FAULT=FOLDER:NTH:ERROR:once|lasting takes the place of arm(), and what fails is printed.
 */
namespace faultyCalls {

/**
 * In place of an error number: a read or write transfers half of what it could. When that is lasting,
 * the later ones fail with EIO, as on a disk that breaks or fills up meanwhile.
 */
constexpr int shortCount = -1;

/** In place of an error number: the process ends right before the call, as by a crash. */
constexpr int kill = -2;

struct Fault
{
    int nth = 1; ///< the first call to fail, counted from 1
    int error = 0; ///< for errno, or one of the words above
    bool lasting = false; ///< all calls behind it fail, too
};

/** From now on in all threads; \a folder is an absolute path without links. */
void arm(const char* folder, const Fault& fault);

/** Ends it, and answers which call failed first; null when there was none. */
const char* disarm();

} // namespace faultyCalls

#endif
