// Which of the library's declarations a host may link to.
//
// The library is built with hidden visibility (-fvisibility=hidden,
// -fvisibility-inlines-hidden): nothing it defines is seen outside it
// unless it is marked RPL_EXPORT. Marked are the classes, the messages and
// rpl_msg_debug; everything else (the file calls, the reading of the
// settings text, the internal-error checks) stays inside, so it can never
// clash with a symbol of the host that loads the library, and it may change
// without a word to anyone.
//
// RPL_LOCAL keeps a private member of an exported class inside: it is no
// part of the interface, and nothing a caller compiles may reach it (no
// inline function of a header calls it).
//
// The memory manager's tracking records are made process-wide in
// h/mem_alloc_sys.h, where they are declared. docs/abi.md states what the
// exported symbols promise.
#ifndef RPL_EXPORT_H
#define RPL_EXPORT_H

#if defined(__GNUC__)
#define RPL_EXPORT __attribute__((visibility("default")))
#define RPL_LOCAL __attribute__((visibility("hidden")))
#else
#define RPL_EXPORT
#define RPL_LOCAL
#endif

#endif
