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

/** Every way to call a stream that is a Qt device too: none ambiguous, each with its own result. */
template <typename Stream>
constexpr bool keepsEverySpelling = std::is_same_v<
    Write<Stream, const void*, int>, int>&& std::is_same_v<Write<Stream, const char*, int>, int>&&
    std::is_same_v<Write<Stream, const char*, qint64>, int>&& std::is_same_v<
        Write<Stream, const char (&)[5], std::size_t>,
        int>&& std::is_same_v<Write<Stream, const char (&)[5]>,
                              qint64>&& std::is_same_v<Write<Stream, char*>, qint64>&&
        std::is_same_v<Write<Stream, QByteArray&>, qint64>&& std::is_same_v<
            Read<Stream, void*, int>, int>&& std::is_same_v<Read<Stream, char*, qint64>, int>&&
            std::is_same_v<Read<Stream, kelmBuffer&, int>, int>&& std::is_same_v<
                Read<Stream, int>, QByteArray>&& std::is_same_v<Read<Stream, qint64>, QByteArray>&&
                std::is_same_v<ReadAll<Stream>, QByteArray>&&
                    std::is_same_v<ReadAll<Stream, kelmBuffer&, int>, int>&&
                        std::is_same_v<ReadAll<Stream, int>, boost::shared_ptr<kelmBuffer>>&&
                            std::is_same_v<ReadAll<Stream, std::vector<unsigned char>&>, void>;

#endif
