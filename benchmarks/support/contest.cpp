#include "support/contest.h"

#include <map>
#include <random>
#include <stdexcept>

namespace bench {
namespace {

std::string nameOf(const std::string& item, const std::string& parameter,
                   const std::string& contender)
{
    return item + '/' + parameter + '/' + contender;
}

} // namespace

void add(const std::string& item, const std::string& parameter, const std::string& contender,
         Work work, Work prepare)
{
    benchmark::RegisterBenchmark(
        nameOf(item, parameter, contender).c_str(),
        [work = std::move(work), prepare = std::move(prepare)](benchmark::State& state) {
            try {
                if (prepare)
                    prepare();
                for (auto iteration : state) {
                    (void)iteration;
                    work();
                }
            } catch (const std::exception& fault) {
                state.SkipWithError(fault.what());
            }
        })
        ->UseRealTime()
        ->Unit(benchmark::kMicrosecond);
}

void addMeasured(const std::string& item, const std::string& parameter,
                 const std::string& contender, std::function<double()> measure)
{
    benchmark::RegisterBenchmark(nameOf(item, parameter, contender).c_str(),
                                 [measure = std::move(measure)](benchmark::State& state) {
                                     try {
                                         for (auto iteration : state) {
                                             (void)iteration;
                                             state.SetIterationTime(measure());
                                         }
                                     } catch (const std::exception& fault) {
                                         state.SkipWithError(fault.what());
                                     }
                                 })
        ->UseManualTime()
        ->Iterations(1)
        ->Unit(benchmark::kMicrosecond);
}

void insist(bool right, const char* what)
{
    if (!right)
        throw std::runtime_error(what);
}

std::string binary(long long count)
{
    static constexpr const char* units[] = {"", "Ki", "Mi", "Gi"};
    std::size_t unit = 0;
    while (count >= 1024 && count % 1024 == 0 && unit + 1 < std::size(units)) {
        count /= 1024;
        ++unit;
    }
    return std::to_string(count) + units[unit];
}

const std::vector<char>& noise(std::size_t size)
{
    static std::map<std::size_t, std::vector<char>> made;
    std::vector<char>& bytes = made[size];
    if (bytes.empty()) {
        std::minstd_rand random;
        bytes.resize(size);
        for (char& byte : bytes)
            byte = char(random() >> 8);
    }
    return bytes;
}

} // namespace bench
