// The elements that geometry shaders have made for one render.
#pragma once

#include "database/database.h"

#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace lumorender {

/// They go with the render. Their names hide those of the scene and never replace them; of several that shaders give
/// the same name the last one counts.
class MadeElements {
public:
    explicit MadeElements(Database& database) : database_(database) {}
    ~MadeElements();
    MadeElements(const MadeElements&) = delete;
    MadeElements& operator=(const MadeElements&) = delete;

    /// A new element, with a name or without.
    miTag store(const std::string& name, int type, const void* record, std::size_t size,
                std::unique_ptr<Detail> detail);
    /// Gives a further name to an element.
    void setName(const std::string& name, miTag tag) { names_[name] = tag; }

    /// By its name, or by what `nameOf` made up for it; 0 where there is none.
    miTag find(std::string_view name) const;
    /// Elements without a name get one that `find` knows.
    std::string nameOf(miTag tag) const;

private:
    Database& database_;
    std::vector<miTag> tags_;
    std::map<std::string, miTag, std::less<>> names_;
};

}  // namespace lumorender
