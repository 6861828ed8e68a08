#ifndef QUARN_TESTS_FILEJOBS_GENERATEDTREE_H
#define QUARN_TESTS_FILEJOBS_GENERATEDTREE_H

#include <QByteArray>

#include <map>

/** All that is to be known of each entry of a tree, by its path; the top is "". */
using Description = std::map<QByteArray, QByteArray>;

Description describe(const QByteArray& root);

/**
 * Makes a tree at \a root of folders, files of many sizes, with holes and several names, links and
 * pipes as the system has them, all with times, permissions and attributes of their own; the same
 * for the same \a seed.
 */
void generateTree(const QByteArray& root, unsigned seed);

/** Where two descriptions differ, in a line; empty when they don't. */
inline QByteArray difference(const Description& found, const Description& expected)
{
    for (const auto& [path, text] : expected) {
        const auto other = found.find(path);
        if (other == found.end())
            return path + " is missing";
        if (other->second != text)
            return path + ": " + other->second + ", not " + text;
    }
    for (const auto& [path, text] : found)
        if (!expected.count(path))
            return path + " is too much";
    return QByteArray();
}

#endif
