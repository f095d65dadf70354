#include "elements.h"

#include <ImathMatrix.h>
#include <sys/mman.h>
#include <unistd.h>

#include <mi/functions.h>

#include "renderer.h"

namespace twin {

FencedBlock::FencedBlock(std::size_t bytes) {
    const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
    mapped_ = (bytes + page - 1) / page * page + page;
    pages_ = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    char* const fence = static_cast<char*>(pages_) + mapped_ - page;
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
    std::memcpy(&record<char>(tag), text.c_str(), text.size() + 1);
    return tag;
}

miTag Database::addUserdata(const std::vector<miUint>& words, miTag next) {
    const std::size_t at = offsetof(miUserdata, parameters), bytes = words.size() * sizeof(miUint);
    const miTag tag = add(miSCENE_USERDATA, at + bytes);
    auto& block = record<miUserdata>(tag);
    block.next_data = next;
    block.parameter_size = static_cast<int>(bytes);
    block.one = 1;
    if (bytes) std::memcpy(&record<char>(tag) + at, words.data(), bytes);
    return tag;
}

miTag Database::addInstance(miTag item, const std::vector<miUint>& parameters) {
    const std::size_t at = offsetof(miInstance, param), bytes = parameters.size() * sizeof(miUint);
    const miTag tag = add(miSCENE_INSTANCE, at + bytes + 4);
    auto& instance = record<miInstance>(tag);
    for (std::size_t i : {0u, 5u, 10u, 15u})
        instance.tf.local_to_global[i] = instance.tf.global_to_local[i] = instance.motion_transform[i] = 1;
    instance.item = item;
    instance.param_size = static_cast<int>(bytes);
    instance.param_decl = bytes ? add(miSCENE_FUNCTION_DECL, 8) : miNULLTAG;
    if (bytes) std::memcpy(&record<char>(tag) + at, parameters.data(), bytes);
    return tag;
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

int Database::pinsInAll() const {
    int sum = 0;
    for (const Element& each : elements_) sum += each.pins;
    return sum;
}

miBoolean Queries::ask(miQ_type code, miState* state, miTag tag, void* result) {
    counts_[code].fetch_add(1, std::memory_order_relaxed);
    if (const Answer& said = answers_[code]; said.kind != kNone) {
        std::memcpy(result, said.bytes.data(), said.kind == kValue ? said.size : 0);
        return said.kind == kValue;
    }
    const auto give = [&](auto value) {
        std::memcpy(result, &value, sizeof value);
        return miTRUE;
    };
    if (code == miQ_FUNC_USERPTR) return give(Renderer::userPointerSlot(state->shader));
    if (auto* const instance = renderer().database.find<miInstance>(tag, miSCENE_INSTANCE)) switch (code) {
            case miQ_INST_GLOBAL_TO_LOCAL: return give(&instance->tf.global_to_local[0]);
            case miQ_INST_LOCAL_TO_GLOBAL: return give(&instance->tf.local_to_global[0]);
            case miQ_INST_ITEM: return give(instance->item);
            case miQ_INST_DATA: return give(instance->userdata);
            case miQ_INST_PARAM_SIZE: return give(instance->param_size);
            case miQ_INST_PARAM: return instance->param_size ? give(&instance->param[0]) : miFALSE;
            default: return miFALSE;
        }
    auto* const data = renderer().database.find<miUserdata>(tag, miSCENE_USERDATA);
    if (data && code == miQ_DATA_PARAM) return give(&data->parameters[0]);
    return data && code == miQ_DATA_PARAM_SIZE ? give(data->parameter_size) : miFALSE;
}

namespace {

Imath::M44d matrix(const miScalar* m) { return Imath::M44d(Imath::M44f(*reinterpret_cast<const float(*)[4][4]>(m))); }

miVector result(const Imath::V3d& v) {
    return {static_cast<miScalar>(v.x), static_cast<miScalar>(v.y), static_cast<miScalar>(v.z)};
}

miVector pointBy(const Imath::M44d& m, const miVector& p) { return result(Imath::V3d(p.x, p.y, p.z) * m); }

miVector vectorBy(const Imath::M44d& m, const miVector& v) {
    Imath::V3d turned;
    m.multDirMatrix(Imath::V3d(v.x, v.y, v.z), turned);
    return result(turned);
}

}  // namespace

miVector transformPoint(const miVector& p, const miScalar* m) { return pointBy(matrix(m), p); }

}  // namespace twin

using namespace twin;

miBoolean mi_query(miQ_type code, miState* state, miTag tag, void* result, ...) {
    return renderer().queries.ask(code, state, tag, result);
}

void* mi_db_access_type(int* type, miTag tag) {
    *type = renderer().database.typeOf(tag);
    return renderer().database.pin(tag);
}
const void* mi_db_access(miTag tag) { return renderer().database.pin(tag); }
void mi_db_unpin(miTag tag) { renderer().database.unpin(tag); }
int mi_db_type(miTag tag) { return renderer().database.typeOf(tag); }

#define TRANSFORM(name, kind, expression) \
    void mi_##name(const miState*, miVector* r, const miVector* v) { *r = kind(expression, *v); }
#define SPACE(name)                                                                                \
    TRANSFORM(point_to_##name, pointBy, matrix(renderer().spaces.name.m))                          \
    TRANSFORM(point_from_##name, pointBy, matrix(renderer().spaces.name.m).inverse())              \
    TRANSFORM(vector_to_##name, vectorBy, matrix(renderer().spaces.name.m))                        \
    TRANSFORM(vector_from_##name, vectorBy, matrix(renderer().spaces.name.m).inverse())            \
    TRANSFORM(normal_to_##name, vectorBy, matrix(renderer().spaces.name.m).inverse().transposed()) \
    TRANSFORM(normal_from_##name, vectorBy, matrix(renderer().spaces.name.m).transposed())

SPACE(world)
SPACE(camera)
SPACE(object)
SPACE(light)

void mi_point_to_raster(const miState* state, miVector* result, const miVector* point) {
    const miVector p = transformPoint(*point, renderer().spaces.camera.m);
    const miCamera& camera = *state->camera;
    const auto width = static_cast<miScalar>(camera.x_resolution), height = static_cast<miScalar>(camera.y_resolution);
    const miScalar perWidth = camera.focal / camera.aperture / -p.z;
    *result = {width * (0.5f + p.x * perWidth), height * (0.5f + p.y * perWidth * camera.aspect), -p.z};
}
void mi_point_transform(miVector* result, const miVector* v, const miMatrix m) { *result = pointBy(matrix(m), *v); }
void mi_vector_transform(miVector* result, const miVector* v, const miMatrix m) { *result = vectorBy(matrix(m), *v); }

void mi_reflection_dir(miVector* dir, miState* state) {
    const miVector& n = state->normal;
    const miScalar twice = 2 * mi_vector_dot(&state->dir, &n);
    *dir = {state->dir.x - twice * n.x, state->dir.y - twice * n.y, state->dir.z - twice * n.z};
}
