// Host memory manager: module registration and tracked allocation.
//
// Every container of a module allocates through MEM_STL_ALLOCATOR<T>, which
// hands each request to MEM_MANAGER together with one tracking record per
// element type T. The manager keeps its accounts per record, so a leak shows
// up under the type that caused it.
#ifndef H_MEM_ALLOC_SYS_H
#define H_MEM_ALLOC_SYS_H

#include <cstddef>
#include <cstdint>
#include <typeinfo>

// The host's declarations keep default visibility in a module built with
// hidden visibility (the library is): they name the host's own symbols, and
// the types below are template arguments of the library's containers.
//
// That matters most for the tracking records. A record is a template's
// static member, so every module that instantiates a container of the
// library's types (the library itself, and a host that copies a section's
// m_children or a settings file's m_sections, or builds a string) emits its
// own copy of it. The memory manager keeps one account per record address,
// so the copies must be one object in the process: with default visibility
// the compiler makes each record a unique global symbol (STB_GNU_UNIQUE)
// that the dynamic linker binds to a single definition, and the library
// exports it. Hidden, each module would have its own record per type: the
// type's allocations split over several accounts, and a record filled in by
// one module's first allocation would stay empty in another's.
#pragma GCC visibility push(default)

// One record per tracked element type. The layout is fixed by the memory
// manager: seven words, in this order.
struct MEM_TRACKER_THUNK {
    const std::type_info* m_type_info;  // null until the first allocation of the type
    std::size_t m_type_size;            // size of one element in bytes
    std::uintptr_t m_category;          // tracking category of the owning module
    std::uintptr_t m_reserved_4;        // 0
    const char* m_module;               // owning module's name
    std::uintptr_t m_reserved_6;        // 0
    std::uintptr_t m_reserved_7;        // the record template's third argument
};

class MEM_MANAGER {
public:
    // Allocates `size` bytes accounted to `thunk`. `file` names the source
    // that asked. May be called before main. Never returns null: the host
    // stops the process when it runs out of memory.
    static void* new_wrapper(std::size_t size, MEM_TRACKER_THUNK* thunk, const char* file);
    // Frees a block that new_wrapper gave. `module` names the module freeing
    // it. A null block is ignored.
    static void delete_wrapper(void* block, const char* module);
};

// Registers a module with the memory manager for its whole lifetime. Safe to
// construct from a static initialiser, before the host's own statics exist.
class MEM_INITIALIZER {
public:
    explicit MEM_INITIALIZER(const char* module);
    ~MEM_INITIALIZER();
    MEM_INITIALIZER(const MEM_INITIALIZER&) = delete;
    MEM_INITIALIZER& operator=(const MEM_INITIALIZER&) = delete;

private:
    const char* m_module;  // not owned: a string literal
};

// The tracking record of element type T for the RPL module. Constant
// initialised, so it is usable from any static initialiser.
template <class T, int CATEGORY, int FLAG>
struct MEM_TRACKER_TEMPLATE_RPL {
    static MEM_TRACKER_THUNK s_thunk;
};

template <class T, int CATEGORY, int FLAG>
MEM_TRACKER_THUNK MEM_TRACKER_TEMPLATE_RPL<T, CATEGORY, FLAG>::s_thunk = {
    nullptr, sizeof(T), static_cast<std::uintptr_t>(CATEGORY), 0, "RPL", 0,
    static_cast<std::uintptr_t>(FLAG)};

// Called with every list or tree node before it is freed; it does nothing,
// but gives a debugger one place to watch nodes go.
template <class A, class B>
inline void mem_destroy(A*, B*) {}

// The allocator of every container of the library. Stateless: all instances
// compare equal.
template <class T>
class MEM_STL_ALLOCATOR {
public:
    typedef T value_type;

    MEM_STL_ALLOCATOR() noexcept {}
    template <class U>
    MEM_STL_ALLOCATOR(const MEM_STL_ALLOCATOR<U>&) noexcept {}

    T* allocate(std::size_t n) {
        MEM_TRACKER_THUNK& thunk = MEM_TRACKER_TEMPLATE_RPL<T, 1255, 1>::s_thunk;
        if (thunk.m_type_info == nullptr) thunk.m_type_info = &typeid(T);
        return static_cast<T*>(MEM_MANAGER::new_wrapper(n * sizeof(T), &thunk, "mem_alloc_sys.h"));
    }

    void deallocate(T* block, std::size_t) noexcept {
        mem_destroy(block, block);
        MEM_MANAGER::delete_wrapper(block, "RPL");
    }

    template <class U>
    bool operator==(const MEM_STL_ALLOCATOR<U>&) const noexcept { return true; }
    template <class U>
    bool operator!=(const MEM_STL_ALLOCATOR<U>&) const noexcept { return false; }
};

#pragma GCC visibility pop

#endif
