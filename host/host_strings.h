// Conversions between std::string and the library's tracked string, for
// the stand-in host and the programs built on it.
#ifndef HOST_HOST_STRINGS_H
#define HOST_HOST_STRINGS_H

#include <string>

#include "h/gen_string.h"

inline std::string to_std(const string& s) { return std::string(s.data(), s.size()); }
inline string to_rpl(const std::string& s) { return string(s.data(), s.size()); }

#endif
