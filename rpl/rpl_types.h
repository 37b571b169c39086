// The library's containers. Every one allocates through the tracked
// allocator, so the host's memory manager accounts for all the library
// keeps.
#ifndef RPL_TYPES_H
#define RPL_TYPES_H

#include <list>
#include <map>
#include <vector>

#include "h/gen.h"
#include "h/gen_string.h"
#include "h/mem_alloc_sys.h"
#include "rpl/rpl_export.h"

class RPL_REPORT_SECTION;
class RPL_REPORT_TOC;

typedef std::list<RPL_REPORT_SECTION*, MEM_STL_ALLOCATOR<RPL_REPORT_SECTION*>> RPL_SECTION_LIST;
typedef std::vector<RPL_REPORT_SECTION*, MEM_STL_ALLOCATOR<RPL_REPORT_SECTION*>> RPL_SECTION_VECTOR;
typedef std::list<RPL_REPORT_TOC*, MEM_STL_ALLOCATOR<RPL_REPORT_TOC*>> RPL_TOC_LIST;
typedef std::vector<int, MEM_STL_ALLOCATOR<int>> RPL_INT_VECTOR;
typedef std::vector<bool, MEM_STL_ALLOCATOR<bool>> RPL_BOOL_VECTOR;

#endif
