#ifndef QUARN_TESTS_FAULTS_FAULTYALLOCATIONS_H
#define QUARN_TESTS_FAULTS_FAULTYALLOCATIONS_H

#include <string>

/**
 * Makes allocations fail in all threads, those of libQuarn and of what it calls: malloc() and the like
 * answer null, new throws. Linked into a program in front of all other libraries.
 */
namespace faultyAllocations {

/**
 * From now on the one with the number \a nth, counted from 1, fails, or \a lasting all from it on; 0
 * for none, and it is seen which there are.
 */
void arm(int nth, bool lasting);

/** Ends it, and answers whether one has failed. */
bool disarm();

/**
 * The number behind \a nth that is worth a failure: behind the first 100 none that comes about by
 * the same calls as one before.
 */
int next(int nth);

/** The function of another library in whose call by the library the first failure was, in a child too. */
std::string failedFunction();

/** The calls that led to the first failure, innermost first, by name where there is one. */
std::string failure();

/** How many allocations that the library made while it was armed have not been freed. */
int live();

} // namespace faultyAllocations

#endif
