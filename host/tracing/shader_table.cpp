#include "tracing/shader_table.h"

#include "tracing/context.h"
#include "support/messages.h"

#include "shader.h"

#include <algorithm>
#include <cstring>

namespace lumorender {

namespace {

/// Every link of a chain of connected shaders takes stack while it is evaluated.
constexpr std::size_t kMaxConnectionDepth = 1000;

/// Lists of lists of lists: all of them together may name so many shaders.
constexpr std::size_t kMostListed = 10'000'000;

/// Brackets the call of an init or exit function: state->shader and the call frame stand for the shader meanwhile.
class Occasion {
public:
    Occasion(ThreadContext& context, const FunctionRuntime& runtime, miShader_type type)
        : context_(context), mark_(context.arena.mark()), frame_(nullptr, runtime.function, type, true) {
        context.frame = &frame_;
        state().shader = runtime.function;
    }
    ~Occasion() {
        state().shader = nullptr;
        state().child = nullptr;
        context_.frame = nullptr;
        context_.arena.release(mark_);
    }
    Occasion(const Occasion&) = delete;
    Occasion& operator=(const Occasion&) = delete;

    miState& state() { return context_.root->state; }

private:
    ThreadContext& context_;
    Arena::Mark mark_;
    CallFrame frame_;
};

}  // namespace

ShaderTable::~ShaderTable() {
    for (FunctionRuntime& runtime : runtimes_) {
        runtime.function->sparep1[0].p = nullptr;
        mi_delete_lock(&runtime.lock);
    }
    for (DeclarationRuntime& shader : declarations_) mi_delete_lock(&shader.lock);
}

void ShaderTable::add(miTag slot, miShader_type type) {
    if (database_.type(slot) == miSCENE_FUNCTION) addFunction(slot, type);
    if (const auto* list = database_.detail<FunctionList>(slot)) addList(slot, *list, type);
}

/// Lists may hold lists, also the same one several times.
void ShaderTable::addList(miTag tag, const FunctionList& list, miShader_type type) {
    if (open_.contains(tag)) throw Failure(fmt::format("the shader list \"{}\" holds itself", database_.name(tag)));
    if (!seen_.insert(tag).second) return;
    checkDepth(tag);
    open_.insert(tag);
    for (const miTag member : list.functions) add(member, type);
    open_.erase(tag);
    std::size_t size = sizeof(miColor);
    for (const miTag member : list.functions) size = std::max(size, resultSizeOf(member));
    listSizes_[tag] = size;
}

void ShaderTable::checkDepth(miTag tag) const {
    if (open_.size() >= kMaxConnectionDepth)
        throw Failure(fmt::format("shader \"{}\" lies behind a chain of more than {} connections", database_.name(tag),
                                  kMaxConnectionDepth));
}

void ShaderTable::addFunction(miTag tag, miShader_type type) {
    if (open_.contains(tag)) throw Failure(fmt::format("shader \"{}\" is connected to itself", database_.name(tag)));
    if (!seen_.insert(tag).second) return;
    checkDepth(tag);

    auto* function = database_.as<miFunction>(tag, miSCENE_FUNCTION);
    FunctionRuntime& runtime = runtimes_.emplace_back();
    runtime.tag = tag;
    runtime.function = function;
    mi_init_lock(&runtime.lock);
    function->sparep1[0].p = &runtime;

    open_.insert(tag);
    if (const auto* member = database_.detail<MemberConnection>(tag)) {
        runtime.member = member;
        runtime.resultSize = member->size;
        add(member->source, type);
        open_.erase(tag);
        return;
    }
    if (const auto* phenomenon = database_.detail<PhenomenonInstance>(tag)) {
        addPhenomenon(runtime, *phenomenon, type);
        open_.erase(tag);
        return;
    }
    const auto* declaration = database_.detail<Declaration>(function->function_decl);
    if (!declaration) throw Failure(fmt::format("shader \"{}\" has no declaration", database_.name(tag)));
    if (!declaration->entry.call)
        throw Failure(fmt::format("shader \"{}\": no linked module has a function of this name", declaration->name));
    runtime.declaration = declaration;
    runtime.call = declaration->entry.call;
    runtime.resultSize = std::max(declaration->result.elementSize, sizeof(miColor));
    addConnections(*function);
    addNamedShaders(declaration->parameters, *function, 0);
    open_.erase(tag);

    uses_.push_back({&runtime, type, declarationIndex(*declaration, runtime, type)});
    runtime.declarationLock = &declarations_[uses_.back().declaration].lock;
}

/// Its root is called in its place; whoever provides the memory must know how large the result is.
void ShaderTable::addPhenomenon(FunctionRuntime& runtime, const PhenomenonInstance& phenomenon, miShader_type type) {
    add(phenomenon.root, type);
    runtime.resultSize = resultSizeOf(phenomenon.root);
    phenomena_.push_back(&phenomenon);
    add(phenomenon.lens.shaders, miSHADER_LENS);
    add(phenomenon.volume.shaders, miSHADER_VOLUME);
    add(phenomenon.environment.shaders, miSHADER_ENVIRONMENT);
    add(phenomenon.output.shaders, miSHADER_OUTPUT);
    add(phenomenon.contourStore, miSHADER_CONTOUR);
    add(phenomenon.contourContrast, miSHADER_CONTOUR);
}

std::size_t ShaderTable::resultSizeOf(miTag slot) const {
    const std::size_t size = sizeof(miColor);
    if (const auto* function = database_.as<miFunction>(slot, miSCENE_FUNCTION))
        return std::max(size, runtimeOf(function)->resultSize);
    const auto list = listSizes_.find(slot);
    return list == listSizes_.end() ? size : list->second;
}

// Every word of the ghost block that is neither empty nor the mark of a plain value names a connected shader.
void ShaderTable::addConnections(const miFunction& function) {
    if (function.has_connections != 1 || function.ghost_offs == 0) return;
    for (int offset = 0; offset + 4 <= function.parameter_size; offset += 4) {
        miTag ghost = 0;
        std::memcpy(&ghost, function.parameters + function.ghost_offs + offset, sizeof ghost);
        if (ghost != miNULLTAG && ghost != miPARAMTAG && ghost != miGHOSTTAG) add(ghost, miSHADER_TEXTURE);
    }
}

void ShaderTable::addNamedShaders(const std::vector<Parameter>& parameters, const miFunction& function,
                                  std::size_t base) {
    for (const Parameter& parameter : parameters) {
        if (!parameter.isArray) {
            addNamedShader(parameter, function, base + parameter.offset);
            continue;
        }
        int array[2] = {};
        std::memcpy(array, function.parameters + base + parameter.offset, sizeof array);
        for (int k = 0; k < array[1]; ++k)
            addNamedShader(
                parameter, function,
                base + parameter.elementOffset + static_cast<std::size_t>(k + array[0]) * parameter.elementSize);
    }
}

void ShaderTable::addNamedShader(const Parameter& parameter, const miFunction& function, std::size_t offset) {
    if (parameter.type == miTYPE_STRUCT) return addNamedShaders(parameter.members, function, offset);
    const bool mayName = parameter.type == miTYPE_SHADER || parameter.type == miTYPE_COLOR_TEX ||
                         parameter.type == miTYPE_SCALAR_TEX || parameter.type == miTYPE_VECTOR_TEX;
    if (!mayName || offset + 4 > static_cast<std::size_t>(function.parameter_size)) return;
    miTag tag = 0;
    std::memcpy(&tag, function.parameters + offset, sizeof tag);
    if (database_.type(tag) == miSCENE_IMAGE) textures_.insert(tag);
    add(tag, parameter.type == miTYPE_SHADER ? miSHADER_OTHER : miSHADER_TEXTURE);
}

std::size_t ShaderTable::declarationIndex(const Declaration& declaration, FunctionRuntime& first, miShader_type type) {
    for (std::size_t i = 0; i < declarations_.size(); ++i)
        if (declarations_[i].declaration == &declaration) return i;
    mi_init_lock(&declarations_.emplace_back(DeclarationRuntime{&declaration, miFALSE, &first, type}).lock);
    return declarations_.size() - 1;
}

void ShaderTable::initialise(ThreadContext& context) {
    for (; initialisedDeclarations_ < declarations_.size(); ++initialisedDeclarations_) {
        DeclarationRuntime& shader = declarations_[initialisedDeclarations_];
        if (!shader.declaration->entry.init) continue;
        Occasion occasion(context, *shader.first, shader.type);
        shader.declaration->entry.init(&occasion.state(), nullptr, &shader.wantsInstances);
    }
    for (; initialisedUses_ < uses_.size(); ++initialisedUses_) {
        const Use& use = uses_[initialisedUses_];
        const DeclarationRuntime& shader = declarations_[use.declaration];
        if (!shader.wantsInstances) continue;
        miBoolean unused = miTRUE;
        Occasion occasion(context, *use.runtime, use.type);
        shader.declaration->entry.init(&occasion.state(), use.runtime->function->parameters, &unused);
        use.runtime->instanceInitialised = true;
    }
}

void ShaderTable::finish(ThreadContext& context) {
    for (auto entry = uses_.rbegin(); entry != uses_.rend(); ++entry) {
        const Use& use = *entry;
        const DeclarationRuntime& shader = declarations_[use.declaration];
        if (!use.runtime->instanceInitialised || !shader.declaration->entry.exit) continue;
        Occasion occasion(context, *use.runtime, use.type);
        shader.declaration->entry.exit(&occasion.state(), use.runtime->function->parameters);
        use.runtime->instanceInitialised = false;
    }
    initialisedUses_ = 0;
    for (; initialisedDeclarations_ > 0; --initialisedDeclarations_) {
        const DeclarationRuntime& shader = declarations_[initialisedDeclarations_ - 1];
        if (!shader.declaration->entry.exit) continue;
        Occasion occasion(context, *shader.first, shader.type);
        shader.declaration->entry.exit(&occasion.state(), nullptr);
    }
}

void SlotTable::build(const Database& database, const ShaderTable& shaders) {
    entries_.assign(database.end(), {});
    // Spans are offsets until all runtimes are collected, because the array moves while it grows.
    for (miTag tag = 1; tag < database.end(); ++tag) {
        entries_[tag].material = database.as<miMaterial>(tag, miSCENE_MATERIAL);
        const std::size_t first = runtimes_.size();
        if (database.type(tag) != miSCENE_FLIST || shaders.knows(tag)) addFunctions(database, tag);
        entries_[tag].functions.count = static_cast<std::uint32_t>(runtimes_.size() - first);
    }
    FunctionRuntime* const* next = runtimes_.data();
    for (Entry& entry : entries_) {
        entry.functions.first = next;
        next += entry.functions.count;
        std::size_t size = 0;
        for (const FunctionRuntime* runtime : entry.functions) size = std::max(size, runtime->resultSize);
        entry.functions.resultSize = static_cast<std::uint32_t>(size);
    }
    table_ = entries_.data();
    end_ = entries_.size();
}

void SlotTable::addFunctions(const Database& database, miTag tag) {
    if (++visits_ > kMostListed + entries_.size())
        throw Failure(fmt::format("lists of shaders unfold into more than {} shaders", kMostListed));
    if (const auto* phenomenon = database.detail<PhenomenonInstance>(tag)) {
        addFunctions(database, phenomenon->root);
    } else if (const auto* function = database.as<miFunction>(tag, miSCENE_FUNCTION)) {
        if (FunctionRuntime* runtime = runtimeOf(function)) runtimes_.push_back(runtime);
    } else if (const auto* list = database.detail<FunctionList>(tag)) {
        for (const miTag member : list->functions) addFunctions(database, member);
    }
}

}  // namespace lumorender
