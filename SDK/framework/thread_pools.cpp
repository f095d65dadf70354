/* Per-thread pools of fixed-size blocks, and the stack on top of them. */
#include "SDK/lumo.h"

#include "binding/renderer.h"

#include <atomic>
#include <new>

namespace lumo {
namespace {

constexpr char kSource[] = "sdk/lumoVexaState";

struct PoolNode {
    miUint id;
    miUint size;
    miMemblk* pool;
    PoolNode* next;
};

std::atomic<PoolNode*> poolList{nullptr};

miMemblk* findPool(miUint id, miUint size) {
    for (const PoolNode* node = poolList.load(std::memory_order_acquire); node; node = node->next)
        if (node->id == id && node->size == size) return node->pool;
    return nullptr;
}

PoolNode* createNode(miUint id, miUint size) {
    void* memory = mi_mem_int_allocate(kSource, 451, sizeof(PoolNode));
    if (!memory) return nullptr;
    miMemblk* pool = mi_mem_int_blkcreate(kSource, 455, static_cast<int>(size));
    if (!pool) {
        mi_mem_int_release(kSource, 455, memory);
        return nullptr;
    }
    return new (memory) PoolNode{id, size, pool, nullptr};
}

}  // namespace
}  // namespace lumo

using lumo::poolList;
using lumo::PoolNode;

miMemblk* get_tla(miLock lock, miUint id, miUint size) {
    // Searching without the lock is deliberate: nodes only ever appear at the head and stay valid. Two threads that
    // miss at once both make a node of their own; the second one is merely never found again.
    if (miMemblk* pool = lumo::findPool(id, size)) return pool;

    PoolNode* node = lumo::createNode(id, size);
    if (!node) return nullptr;
    lumo::mi_lock(lock);
    node->next = poolList.load(std::memory_order_relaxed);
    poolList.store(node, std::memory_order_release);
    lumo::mi_unlock(lock);
    return node->pool;
}

void clr_tla_list(miLock lock) {
    lumo::mi_lock(lock);
    PoolNode* node = poolList.exchange(nullptr, std::memory_order_acq_rel);
    while (node) {
        PoolNode* next = node->next;
        lumo::mi_mem_blkdelete(node->pool);
        lumo::mi_mem_int_release(lumo::kSource, 482, node);
        node = next;
    }
    lumo::mi_unlock(lock);
}

void stack_create(miState* state, LumoStack* stack, miUint size) {
    stack->top = nullptr;
    stack->count = 0;
    stack->pool = get_tla(state->global_lock, static_cast<miUshort>(state->thread), size);
}

void* stack_push(LumoStack* stack) {
    void* element = stack->pool ? lumo::mi_mem_blkfallocate(stack->pool) : nullptr;
    if (!element) return nullptr;
    *static_cast<void**>(element) = stack->top;
    stack->top = element;
    ++stack->count;
    return element;
}

void stack_pop(LumoStack* stack) {
    void* element = stack->top;
    if (!element) return;
    stack->top = *static_cast<void**>(element);
    lumo::mi_mem_blkfrelease(stack->pool, element);
    --stack->count;
}
