#ifndef QUARN_TESTS_FAULTS_FAULTYCALLS_H
#define QUARN_TESTS_FAULTS_FAULTYCALLS_H

/**
 * Makes calls of the system fail that concern one folder and what is below it. Linked into a program
 * in front of all other libraries, or preloaded; then the variable
 * QUARN_FAULT=FOLDER:NTH:ERROR:once|lasting[:CALL] takes the place of arm().
 */
namespace faultyCalls {

/** In place of an error number: reads and writes transfer half of what they could. */
constexpr int shortCount = -1;

struct Fault
{
    int nth = 1; ///< the first call to fail, counted from 1
    int error = 0; ///< for errno, or shortCount
    bool lasting = false; ///< all calls behind it fail, too
    const char* call = nullptr; ///< such as "read", which stands for read64() as well; null: any
};

/** From now on in all threads; \a folder is an absolute path without links. */
void arm(const char* folder, const Fault& fault);

/** Ends it, and answers how many calls failed. */
int disarm();

/** The call that failed first. */
const char* firstFailure();

} // namespace faultyCalls

#endif
