#ifndef FILE_JOBS_DEMONSTRATION_H
#define FILE_JOBS_DEMONSTRATION_H

class FilesWindow;
class QString;

/**
 * Copies and trashes the entries of \a folder by the window, which shows it, takes both back, and ends
 * the program; the exit status tells whether everything is as before. The window is pictured while it
 * copies, into the file \a picture.
 */
void demonstrate(FilesWindow& window, const QString& folder, const QString& picture);

#endif
