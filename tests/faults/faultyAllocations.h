#ifndef QUARN_TESTS_FAULTS_FAULTYALLOCATIONS_H
#define QUARN_TESTS_FAULTS_FAULTYALLOCATIONS_H

#include <string>

/**
 * Makes allocations fail in all threads, those of libQuarn and of what it calls: malloc() and the like
 * answer null, new throws. Linked into a program in front of all other libraries.
 */
namespace faultyAllocations {

/** From now on the one with the number \a nth, counted from 1, fails, or \a lasting all from it on. */
void arm(int nth, bool lasting);

/** Ends it, and answers whether one has failed. */
bool disarm();

/** The function of another library in whose call by the library the first failure was. */
std::string failedFunction();

/** The calls that led to the first failure, innermost first, by name where there is one. */
std::string failure();

/** How many allocations of the library since arm() have not been freed. */
int live();

} // namespace faultyAllocations

#endif
