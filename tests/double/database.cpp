#include "database.h"

#include <cstring>
#include <sys/mman.h>
#include <unistd.h>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

FencedBlock::FencedBlock(std::size_t bytes) : size_(bytes) {
    const std::size_t page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    const std::size_t content = (bytes + page - 1) / page * page;
    mapped_ = content + page;
    pages_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const fence = static_cast<char*>(pages_) + content;
    mprotect(fence, page, PROT_NONE);
    data_ = fence - (bytes + 3) / 4 * 4;
}

FencedBlock::~FencedBlock() { munmap(pages_, mapped_); }

miTag Database::add(miScene_types type, std::size_t bytes) {
    elements_.emplace_back(type, bytes);
    return static_cast<miTag>(elements_.size());
}

miTag Database::addString(const std::string& text) {
    const miTag tag = add(miSCENE_STRING, text.size() + 1);
    std::memcpy(recordOf(tag), text.c_str(), text.size() + 1);
    return tag;
}

miTag Database::addUserdata(const std::vector<miUint>& words, miTag next) {
    const std::size_t bytes = words.size() * sizeof(miUint);
    const miTag tag = add(miSCENE_USERDATA, offsetof(miUserdata, parameters) + bytes);
    auto& block = record<miUserdata>(tag);
    block.next_data = next;
    block.parameter_size = static_cast<int>(bytes);
    block.one = 1;
    if (!words.empty())
        std::memcpy(static_cast<char*>(recordOf(tag)) + offsetof(miUserdata, parameters), words.data(), bytes);
    return tag;
}

miTag Database::addInstance(miTag item, const std::vector<miUint>& parameters) {
    const std::size_t bytes = parameters.size() * sizeof(miUint);
    const miTag tag = add(miSCENE_INSTANCE, offsetof(miInstance, param) + bytes + 4);
    auto& instance = record<miInstance>(tag);
    for (std::size_t i : {0u, 5u, 10u, 15u})
        instance.tf.local_to_global[i] = instance.tf.global_to_local[i] = instance.motion_transform[i] = 1;
    instance.item = item;
    instance.param_size = static_cast<int>(bytes);
    instance.param_decl = bytes ? add(miSCENE_FUNCTION_DECL, 8) : miNULLTAG;
    if (bytes) std::memcpy(static_cast<char*>(recordOf(tag)) + offsetof(miInstance, param), parameters.data(), bytes);
    return tag;
}

const Database::Element* Database::element(miTag tag) const {
    return tag >= 1 && tag <= elements_.size() ? &elements_[tag - 1] : nullptr;
}

void* Database::recordOf(miTag tag) {
    const Element* found = element(tag);
    return found ? found->memory.data() : nullptr;
}

int Database::typeOf(miTag tag) const {
    const Element* found = element(tag);
    return found ? found->type : miSCENE_NONE;
}

void* Database::pin(miTag tag) {
    Element* found = element(tag);
    if (!found) {
        renderer().violation("access of tag " + std::to_string(tag) + ", which names nothing");
        return nullptr;
    }
    ++found->pins;
    return found->memory.data();
}

void Database::unpin(miTag tag) {
    Element* found = element(tag);
    if (!found || --found->pins < 0)
        renderer().violation("unpin of tag " + std::to_string(tag) + ", which is not pinned");
}

int Database::pins(miTag tag) const {
    const Element* found = element(tag);
    return found ? found->pins.load() : 0;
}

int Database::pinsInAll() const {
    int sum = 0;
    for (const Element& each : elements_) sum += each.pins;
    return sum;
}

}  // namespace twin

using twin::renderer;

void* mi_db_access_type(int* type, miTag tag) {
    *type = renderer().database.typeOf(tag);
    return renderer().database.pin(tag);
}

const void* mi_db_access(miTag tag) { return renderer().database.pin(tag); }
void mi_db_unpin(miTag tag) { renderer().database.unpin(tag); }
int mi_db_type(miTag tag) { return renderer().database.typeOf(tag); }
