#ifndef QUARN_TESTS_SUPPORT_SPELLINGS_H
#define QUARN_TESTS_SUPPORT_SPELLINGS_H

#include <Quarn/companion/kelmBuffer.h>

#include <QByteArray>

#include <boost/shared_ptr.hpp>

#include <type_traits>
#include <utility>
#include <vector>

template <typename Stream, typename... Arguments>
using Read = decltype(std::declval<Stream&>().read(std::declval<Arguments>()...));
template <typename Stream, typename... Arguments>
using ReadAll = decltype(std::declval<Stream&>().readAll(std::declval<Arguments>()...));
template <typename Stream, typename... Arguments>
using Write = decltype(std::declval<Stream&>().write(std::declval<Arguments>()...));

template <typename Result, typename... Calls>
constexpr bool allAnswer = (std::is_same_v<Result, Calls> && ...);

/** Every way to call a stream that is a Qt device too: none ambiguous, each with its own result. */
template <typename S>
constexpr bool keepsEverySpelling
    = allAnswer<int, Write<S, const void*, int>, Write<S, const char*, int>,
                Write<S, const char*, qint64>, Write<S, const char (&)[5], std::size_t>,
                Read<S, void*, int>, Read<S, char*, qint64>, Read<S, kelmBuffer&, int>,
                ReadAll<S, kelmBuffer&, int>>&&
        allAnswer<qint64, Write<S, const char (&)[5]>, Write<S, char*>, Write<S, QByteArray&>>&&
            allAnswer<QByteArray, Read<S, int>, Read<S, qint64>, ReadAll<S>>&&
                allAnswer<boost::shared_ptr<kelmBuffer>, ReadAll<S, int>>&&
                    allAnswer<void, ReadAll<S, std::vector<unsigned char>&>>;

#endif
