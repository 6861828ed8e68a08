#ifndef QUARN_BENCHMARKS_SUPPORT_CONTEST_H
#define QUARN_BENCHMARKS_SUPPORT_CONTEST_H

#include <benchmark/benchmark.h>

#include <chrono>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/**
 * \name Contenders
 * The library, what its users would write instead, and the least that the machine has to do.
 * @{
 */
constexpr const char* quarn = "quarn";
constexpr const char* qt = "qt";
constexpr const char* standard = "std"; // the standard library, or a program of the system
constexpr const char* limit = "limit";
/** @} */

using Clock = std::chrono::steady_clock;

/** The work of one contender; throws std::exception when it did not come out as it should. */
using Work = std::function<void()>;

/**
 * Registers item/parameter/contender: \a work, timed from its call to its return. \a prepare goes
 * before each measurement, untimed; it is to do nothing when it has been called before.
 */
void add(const std::string& item, const std::string& parameter, const std::string& contender,
         Work work, Work prepare = {});

/**
 * The same for work that measures itself, because setting up and clearing away don't count.
 * \a measure returns seconds and is called once in each repetition.
 */
void addMeasured(const std::string& item, const std::string& parameter,
                 const std::string& contender, std::function<double()> measure);

/** Seconds that \a work takes. */
template <typename Run>
double seconds(Run work)
{
    const auto start = Clock::now();
    work();
    return std::chrono::duration<double>(Clock::now() - start).count();
}

/** Throws unless \a right: a contender that cuts its work short must not win. */
void insist(bool right, const char* what);

/** "64", "4Ki", "16Mi": a count of bytes that is a power of two. */
std::string binary(long long count);

/** \a size bytes that don't compress; the same in each call. */
const std::vector<char>& noise(std::size_t size);

} // namespace bench
#endif
