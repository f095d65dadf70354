#include "building/made_elements.h"

#include "mi/codes.h"

#include <fmt/format.h>

#include <charconv>
#include <cstring>

namespace lumorender {

namespace {

constexpr std::string_view kMadeUp = "(tag) ";

}  // namespace

MadeElements::~MadeElements() {
    for (const miTag tag : tags_) database_.remove(tag);
}

miTag MadeElements::store(const std::string& name, int type, const void* record, std::size_t size,
                          std::unique_ptr<Detail> detail) {
    const bool isFree = !name.empty() && database_.find(name) == miNULLTAG;
    const miTag tag = isFree ? database_.define(name, type, size) : database_.create(type, size);
    tags_.push_back(tag);
    if (record) std::memcpy(database_.record(tag), record, size);
    database_.setDetail(tag, std::move(detail));
    if (!name.empty()) names_[name] = tag;
    return tag;
}

miTag MadeElements::find(std::string_view name) const {
    if (name.starts_with("::")) name.remove_prefix(2);
    if (const auto made = names_.find(name); made != names_.end()) return made->second;
    miTag tag = miNULLTAG;
    if (name.starts_with(kMadeUp)) {
        name.remove_prefix(kMadeUp.size());
        std::from_chars(name.data(), name.data() + name.size(), tag);
    } else {
        tag = database_.find(name);
    }
    return database_.type(tag) == miSCENE_NONE ? miNULLTAG : tag;
}

std::string MadeElements::nameOf(miTag tag) const {
    const std::string_view name = database_.name(tag);
    if (!name.empty() && find(name) == tag) return std::string(name);
    return fmt::format("{}{}", kMadeUp, tag);
}

}  // namespace lumorender
