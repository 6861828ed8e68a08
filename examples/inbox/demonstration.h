#ifndef INBOX_DEMONSTRATION_H
#define INBOX_DEMONSTRATION_H

#include "Delivery.h"

class InboxWindow;

/**
 * Waits for all to come, which has to be \a expected, and saves what is genuine in \a folder; keeps a
 * picture of the window in the file \a picture and ends the program. The exit status tells whether
 * all was as it should be.
 */
void demonstrate(InboxWindow& window, Delivery::Verdict expected, const QString& folder,
                 const QString& picture);

#endif
