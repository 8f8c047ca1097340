#ifndef QEL_PLATFORM_RESOURCES_H
#define QEL_PLATFORM_RESOURCES_H

#include <string>

// The process-wide store of key/value texts that is filled from resource files.

// Adds the entries of one file. Returns non-zero on success, 0 when the file cannot be read.
int ZeltAddResFileWithAbsolute(const std::string& absolutePath);

// The text stored for the key, or null. It belongs to the store and stays valid until the process
// ends, also when a later file gives the key another text.
const char* ZeltGetResString(const std::string& key);

#endif
