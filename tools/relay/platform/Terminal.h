#ifndef RELAY_PLATFORM_TERMINAL_H
#define RELAY_PLATFORM_TERMINAL_H

#include "Secret.h"

#include <memory>

class QString;

/** \brief The terminal that controls the process, with its echo off. */
class Terminal
{
public:
    Terminal();
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal();

    bool isUsable() const;

    void print(const QString& text) const;

    /** A line without its end; empty when it was interrupted. */
    Secret line() const;

private:
    struct State;

    const std::unique_ptr<State> m_state;
};

#endif
