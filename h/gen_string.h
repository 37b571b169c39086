// The byte string shared by the host and its modules. It allocates through
// the tracked allocator, so every string a module keeps is accounted to it.
#ifndef H_GEN_STRING_H
#define H_GEN_STRING_H

#include <string>

#include "h/mem_alloc_sys.h"

// Default visibility: these are the host's symbols, also where a module
// built with hidden visibility includes them (see h/mem_alloc_sys.h).
#pragma GCC visibility push(default)

typedef std::basic_string<char, std::char_traits<char>, MEM_STL_ALLOCATOR<char>> string;

#pragma GCC visibility pop

#endif
