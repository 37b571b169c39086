// Memory accounting of the stand-in host.
//
// Every block carries a 16-byte header pointing at its account, so freeing
// needs no lookup. The account of a tracking record is kept in a small
// open-addressed table keyed by the record's address, and the last record
// asked about is remembered with its account: a container allocates its
// nodes one after another under one record, so most allocations find their
// account in one comparison.
// Small blocks come from per-size free lists, as a tool's memory manager
// keeps them: a freed node is handed to the next request of its size
// without a trip through the C library's heap. Under AddressSanitizer, or
// with RPL_HOST_PLAIN_HEAP set in the environment (valgrind runs), every
// block comes from malloc instead, so those tools see each one. Nothing here
// locks: like the library, the manager is used from one thread at a time.
// All state is reached through function-local statics, because the library
// allocates from its own static initialisers, possibly before ours ran.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "host/host.h"

namespace {

struct BLOCK_HEADER {
    HOST_MEM_ACCOUNT* account;
    std::size_t size;
};
static_assert(sizeof(BLOCK_HEADER) == 16, "keeps blocks 16-byte aligned");

// Accounts live forever (blocks point at them), in a table that grows by
// doubling. Plain malloc keeps the table out of its own accounting.
struct ACCOUNT_TABLE {
    HOST_MEM_ACCOUNT** slots = nullptr;
    std::size_t capacity = 0;
    std::size_t used = 0;
    std::vector<HOST_MEM_ACCOUNT*>* order = nullptr;
};

ACCOUNT_TABLE& table() {
    static ACCOUNT_TABLE t;
    return t;
}

std::size_t slot_of(const MEM_TRACKER_THUNK* thunk, std::size_t capacity) {
    std::uintptr_t h = reinterpret_cast<std::uintptr_t>(thunk);
    h ^= h >> 17;
    h *= 0x9E3779B97F4A7C15ull;
    return static_cast<std::size_t>(h >> 7) & (capacity - 1);
}

void grow(ACCOUNT_TABLE& t) {
    std::size_t capacity = t.capacity ? t.capacity * 2 : 64;
    auto** slots = static_cast<HOST_MEM_ACCOUNT**>(std::calloc(capacity, sizeof(HOST_MEM_ACCOUNT*)));
    if (slots == nullptr) std::abort();
    for (std::size_t i = 0; i < t.capacity; ++i) {
        HOST_MEM_ACCOUNT* a = t.slots[i];
        if (a == nullptr) continue;
        std::size_t s = slot_of(a->thunk, capacity);
        while (slots[s] != nullptr) s = (s + 1) & (capacity - 1);
        slots[s] = a;
    }
    std::free(t.slots);
    t.slots = slots;
    t.capacity = capacity;
}

HOST_MEM_ACCOUNT* look_up_account(const MEM_TRACKER_THUNK* thunk, bool create) {
    ACCOUNT_TABLE& t = table();
    if (t.capacity == 0) {
        if (!create) return nullptr;
        grow(t);
    }
    std::size_t s = slot_of(thunk, t.capacity);
    while (t.slots[s] != nullptr) {
        if (t.slots[s]->thunk == thunk) return t.slots[s];
        s = (s + 1) & (t.capacity - 1);
    }
    if (!create) return nullptr;
    if ((t.used + 1) * 2 > t.capacity) {
        grow(t);
        return look_up_account(thunk, create);
    }
    auto* account = new HOST_MEM_ACCOUNT();
    account->thunk = thunk;
    t.slots[s] = account;
    ++t.used;
    if (t.order == nullptr) t.order = new std::vector<HOST_MEM_ACCOUNT*>();
    t.order->push_back(account);
    return account;
}

// Accounts never move nor go, so the remembered one stays valid.
HOST_MEM_ACCOUNT* find_account(const MEM_TRACKER_THUNK* thunk, bool create) {
    static const MEM_TRACKER_THUNK* last_thunk = nullptr;
    static HOST_MEM_ACCOUNT* last_account = nullptr;
    if (thunk == last_thunk && last_account != nullptr) return last_account;
    HOST_MEM_ACCOUNT* account = look_up_account(thunk, create);
    if (account != nullptr) {
        last_thunk = thunk;
        last_account = account;
    }
    return account;
}

HOST_MEM_ACCOUNT& totals() {
    static HOST_MEM_ACCOUNT all;
    return all;
}

std::vector<std::string>& modules() {
    static auto* m = new std::vector<std::string>();  // never destroyed: used at unload
    return *m;
}

// ---- Small-block pools -------------------------------------------------------

const std::size_t POOL_GRAIN = 16;
const std::size_t POOL_LIMIT = 512;  // whole blocks, header included
const std::size_t SLAB_BYTES = 256 * 1024;

struct FREE_BLOCK {
    FREE_BLOCK* next;
};

struct POOLS {
    FREE_BLOCK* free_lists[POOL_LIMIT / POOL_GRAIN + 1] = {};
    char* slab_next = nullptr;
    char* slab_end = nullptr;
};

POOLS& pools() {
    static POOLS p;
    return p;
}

bool pools_enabled() {
#if defined(__SANITIZE_ADDRESS__)
    return false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    return false;
#endif
#endif
    static const bool enabled = std::getenv("RPL_HOST_PLAIN_HEAP") == nullptr;
    return enabled;
}

[[noreturn]] void out_of_memory() {
    std::fputs("stand-in host: out of memory\n", stderr);
    std::abort();
}

// A few freed large blocks are kept for the next requests of about their
// size: a module that reads a file of some hundred kilobytes again and
// again would otherwise have the C library give the memory back to the
// system and fault it in anew every time.
const std::size_t LARGE_KEPT = 4;
const std::size_t LARGE_KEPT_LIMIT = 32 * 1024 * 1024;  // a settings file at its size limit fits; larger go back

struct LARGE_BLOCKS {
    void* blocks[LARGE_KEPT] = {};
    std::size_t sizes[LARGE_KEPT] = {};  // at least the block's size
};

LARGE_BLOCKS& large_blocks() {
    static LARGE_BLOCKS l;
    return l;
}

// A kept block of at least `bytes`, wasting at most half of it, or null.
void* take_kept_block(std::size_t bytes) {
    LARGE_BLOCKS& l = large_blocks();
    for (std::size_t i = 0; i < LARGE_KEPT; ++i) {
        if (l.blocks[i] == nullptr || l.sizes[i] < bytes || l.sizes[i] / 2 > bytes) continue;
        void* block = l.blocks[i];
        l.blocks[i] = nullptr;
        return block;
    }
    return nullptr;
}

bool keep_block(void* block, std::size_t bytes) {
    if (bytes > LARGE_KEPT_LIMIT) return false;
    LARGE_BLOCKS& l = large_blocks();
    for (std::size_t i = 0; i < LARGE_KEPT; ++i) {
        if (l.blocks[i] != nullptr) continue;
        l.blocks[i] = block;
        l.sizes[i] = bytes;
        return true;
    }
    return false;
}

// A block of `bytes` (header included); pooled when small. Slabs are never
// given back: the pools only grow to the most the process held at once.
void* take_block(std::size_t bytes) {
    if (!pools_enabled() || bytes > POOL_LIMIT) {
        void* block = pools_enabled() ? take_kept_block(bytes) : nullptr;
        if (block == nullptr) block = std::malloc(bytes);
        if (block == nullptr) out_of_memory();
        return block;
    }
    POOLS& p = pools();
    std::size_t size_class = (bytes + POOL_GRAIN - 1) / POOL_GRAIN;
    if (FREE_BLOCK* block = p.free_lists[size_class]) {
        p.free_lists[size_class] = block->next;
        return block;
    }
    std::size_t rounded = size_class * POOL_GRAIN;
    if (static_cast<std::size_t>(p.slab_end - p.slab_next) < rounded) {
        p.slab_next = static_cast<char*>(std::malloc(SLAB_BYTES));
        if (p.slab_next == nullptr) out_of_memory();
        p.slab_end = p.slab_next + SLAB_BYTES;
    }
    void* block = p.slab_next;
    p.slab_next += rounded;
    return block;
}

void give_block(void* block, std::size_t bytes) {
    if (!pools_enabled() || bytes > POOL_LIMIT) {
        if (!pools_enabled() || !keep_block(block, bytes)) std::free(block);
        return;
    }
    POOLS& p = pools();
    std::size_t size_class = (bytes + POOL_GRAIN - 1) / POOL_GRAIN;
    auto* free_block = static_cast<FREE_BLOCK*>(block);
    free_block->next = p.free_lists[size_class];
    p.free_lists[size_class] = free_block;
}

}  // namespace

void* MEM_MANAGER::new_wrapper(std::size_t size, MEM_TRACKER_THUNK* thunk, const char* /*file*/) {
    auto* header = static_cast<BLOCK_HEADER*>(take_block(sizeof(BLOCK_HEADER) + size));
    HOST_MEM_ACCOUNT* account = find_account(thunk, true);
    header->account = account;
    header->size = size;
    HOST_MEM_ACCOUNT& all = totals();
    account->live_blocks++;
    account->live_bytes += size;
    account->total_allocations++;
    account->total_bytes += size;
    all.live_blocks++;
    all.live_bytes += size;
    all.total_allocations++;
    all.total_bytes += size;
    return header + 1;
}

void MEM_MANAGER::delete_wrapper(void* block, const char* /*module*/) {
    if (block == nullptr) return;
    BLOCK_HEADER* header = static_cast<BLOCK_HEADER*>(block) - 1;
    HOST_MEM_ACCOUNT& all = totals();
    header->account->live_blocks--;
    header->account->live_bytes -= header->size;
    all.live_blocks--;
    all.live_bytes -= header->size;
    give_block(header, sizeof(BLOCK_HEADER) + header->size);
}

MEM_INITIALIZER::MEM_INITIALIZER(const char* module) : m_module(module) {
    modules().push_back(module ? module : "");
}

MEM_INITIALIZER::~MEM_INITIALIZER() {
    auto& m = modules();
    for (auto it = m.begin(); it != m.end(); ++it) {
        if (*it == (m_module ? m_module : "")) {
            m.erase(it);
            break;
        }
    }
}

HOST_MEM_ACCOUNT host_mem_account(const MEM_TRACKER_THUNK* thunk) {
    HOST_MEM_ACCOUNT* a = find_account(thunk, false);
    if (a != nullptr) return *a;
    HOST_MEM_ACCOUNT none;
    none.thunk = thunk;
    return none;
}

std::vector<HOST_MEM_ACCOUNT> host_mem_accounts() {
    std::vector<HOST_MEM_ACCOUNT> out;
    if (table().order == nullptr) return out;
    for (HOST_MEM_ACCOUNT* a : *table().order) out.push_back(*a);
    return out;
}

std::size_t host_mem_live_blocks() { return totals().live_blocks; }
std::size_t host_mem_live_bytes() { return totals().live_bytes; }
std::size_t host_mem_total_allocations() { return totals().total_allocations; }
std::size_t host_mem_total_bytes() { return totals().total_bytes; }
std::vector<std::string> host_mem_modules() { return modules(); }
