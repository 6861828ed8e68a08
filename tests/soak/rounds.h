#ifndef QUARN_TESTS_SOAK_ROUNDS_H
#define QUARN_TESTS_SOAK_ROUNDS_H

#include <vector>

/** A share of each family's work; all threads and files that it needs go with it. */
struct Round
{
    const char* family;
    bool (*run)(); // whether everything came out right
};

const std::vector<Round>& rounds();

#endif
