// Reads the `pass` statements of cameras.
#include "elements/element_readers.h"
#include "parameters/shader_calls.h"

#include <fmt/format.h>

#include <algorithm>

namespace lumorender {

namespace {

std::vector<std::string> splitTypes(std::string_view list) {
    std::vector<std::string> types;
    while (!list.empty()) {
        const std::size_t end = std::min(list.find(','), list.size());
        std::string_view type = list.substr(0, end);
        list.remove_prefix(std::min(end + 1, list.size()));
        while (type.starts_with(' ')) type.remove_prefix(1);
        while (type.ends_with(' ')) type.remove_suffix(1);
        if (!type.empty()) types.emplace_back(type);
    }
    return types;
}

/// One file, or several in brackets.
std::vector<std::string> readFiles(SceneContext& scene) {
    Cursor& in = scene.in;
    if (!in.accept('[')) return {scene.readFileName()};
    std::vector<std::string> files;
    while (!in.accept(']')) {
        files.push_back(scene.readFileName());
        if (!in.at(']')) in.expect(',');
    }
    return files;
}

/// Where a text stands that is neither a file behind a word nor the name of a shader.
void readTypes(Cursor& in, PassStatement& pass) {
    if (in.atString() && !in.followedBy('(')) pass.types = splitTypes(in.readString());
}

/// `["types"] "file"`
void readWrite(SceneContext& scene, PassStatement& pass) {
    const std::string first = scene.readFileName();
    if (scene.in.atString()) {
        pass.types = splitTypes(first);
        pass.write = scene.readFileName();
    } else {
        pass.write = first;
    }
}

/// `["types"] read files [write "file"] [shader]`
void readInputs(SceneContext& scene, PassStatement& pass) {
    Cursor& in = scene.in;
    const bool prepares = pass.kind == PassStatement::Kind::Prepare;
    readTypes(in, pass);
    in.expect("read");
    const Place place = in.place();
    pass.reads = readFiles(scene);
    if (pass.reads.empty() || (prepares && pass.reads.size() > 1))
        throw SyntaxError{place, fmt::format("found {} files, expected {}", pass.reads.size(),
                                             prepares ? "the one that is prepared" : "at least one to merge")};
    if (prepares) in.expect("write");
    if (prepares || in.accept("write")) pass.write = scene.readFileName();
    pass.shader = readShaderList(scene);
    if (prepares && !pass.shader) in.fail("the shader that prepares the samples");
}

}  // namespace

void readPass(SceneContext& scene, PassList& list, miBoolean& mask) {
    Cursor& in = scene.in;
    using enum PassStatement::Kind;
    PassStatement pass;
    pass.where = in.place().text();
    if (in.accept("null")) {
        list.passes.clear();
        return;
    }
    if (in.accept("mask")) {
        mask = in.readFlag();
        return;
    }
    readTypes(in, pass);
    if (in.accept("write")) {
        readWrite(scene, pass);
    } else if (in.at("merge") || in.at("prep")) {
        pass.kind = in.at("merge") ? Merge : Prepare;
        in.advance();
        readInputs(scene, pass);
    } else if (in.accept("delete")) {
        pass.kind = Delete;
        pass.write = scene.readFileName();
    } else {
        in.fail("write, merge, prep, delete, mask or null");
    }
    list.passes.push_back(std::move(pass));
}

}  // namespace lumorender
