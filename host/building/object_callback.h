// Objects whose geometry a function of a module builds when it is needed.
#pragma once

#include "building/build_session.h"
#include "database/placeholder.h"

namespace lumorender {

class ObjectCallback : public ObjectLoader {
public:
    ObjectCallback(const std::shared_ptr<BuildWorld>& world, miApi_object_callback callback, void* parameters)
        : world_(world), callback_(callback), parameters_(parameters) {}

    void setObject(miTag object, std::string who) {
        object_ = object;
        who_ = std::move(who);
    }

    std::unique_ptr<ObjectSource> load() override;

private:
    std::weak_ptr<BuildWorld> world_;  ///< which has the elements, and they this
    miApi_object_callback callback_;
    void* parameters_;
    miTag object_ = 0;
    std::string who_;
};

}  // namespace lumorender
