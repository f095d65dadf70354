#include "parameters/user_data.h"

#include "mi/records.h"
#include "parameters/declarations.h"
#include "parameters/parameter_values.h"
#include "support/files.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <span>

namespace lumorender {

namespace {

constexpr std::size_t kParameters = offsetof(miUserdata, parameters);
constexpr std::size_t kLongestChain = 1000;

struct DataHead {
    std::string name;
    miUint label = 0;
};

void storeData(SceneContext& scene, const DataHead& data, miTag declaration, std::span<const std::byte> block) {
    miUserdata head{};
    head.data_decl = declaration;
    head.label = data.label;
    head.parameter_size = static_cast<int>(block.size());
    head.one = 1;
    std::vector<std::byte> record(std::max(sizeof(miUserdata), kParameters + block.size()));
    std::memcpy(record.data(), &head, kParameters);
    std::copy(block.begin(), block.end(), record.begin() + kParameters);
    scene.storeBytes(data.name, miSCENE_USERDATA, record.data(), record.size(), nullptr);
}

/// `bytecount [ 'hex'.. ]`
void readGivenBytes(SceneContext& scene, const DataHead& data) {
    Cursor& in = scene.in;
    const int count = in.readInteger(0, 1 << 30);
    const Place place = in.place();
    const auto bytes = in.readBytesInBrackets();
    if (bytes.size() != static_cast<std::size_t>(count))
        return scene.problems.error(place, fmt::format("found {} bytes of data, expected {}", bytes.size(), count));
    storeData(scene, data, miNULLTAG, std::as_bytes(std::span(bytes)));
}

void readFromFile(SceneContext& scene, const DataHead& data) {
    const Place place = scene.in.place();
    const std::string name = scene.readFileName();
    if (!scene.settings.filesAllowed) return scene.problems.error(place, "data files may not be read here");
    std::string bytes;
    const std::string failure = readFile(scene.locate(name, {}), bytes);
    if (!failure.empty())
        return scene.problems.error(place, fmt::format("cannot read data file \"{}\": {}", name, failure));
    storeData(scene, data, miNULLTAG, std::as_bytes(std::span(bytes)));
}

/// `"decl" ( .. )`
void readDeclared(SceneContext& scene, const DataHead& data) {
    Cursor& in = scene.in;
    const std::string declarationName(in.current().text);
    miTag tag = miNULLTAG;
    const Declaration* declaration = requireDataDeclaration(scene, declarationName, tag);
    in.advance();
    if (!declaration) return in.skipGroup();
    in.expect('(');
    ParameterBlock block(declaration->parameters, declaration->parameterSize);
    ParameterReader reader(scene, block, fmt::format("data \"{}\"", declarationName), false);
    reader.readList(declaration->parameters, 0, ')');
    storeData(scene, data, tag, std::span(block.values(), block.size()));
}

std::vector<miTag> blocksOf(const Database& database, miTag chain) {
    std::vector<miTag> blocks;
    while (const auto* data = database.as<miUserdata>(chain, miSCENE_USERDATA)) {
        blocks.push_back(chain);
        chain = data->next_data;
        if (blocks.size() >= kLongestChain) break;
    }
    return blocks;
}

/// Blocks that other elements may use too keep out of chains: an element that has several gets copies of its own, of
/// all but the last.
miTag linkBlocks(SceneContext& scene, const std::vector<miTag>& blocks) {
    miTag next = blocks.back();
    for (auto block = blocks.rbegin() + 1; block != blocks.rend(); ++block) {
        const auto* bytes = static_cast<const std::byte*>(scene.database.record(*block));
        std::vector<std::byte> record(bytes, bytes + scene.database.size(*block));
        std::memcpy(record.data() + offsetof(miUserdata, next_data), &next, sizeof next);
        auto copy = std::make_unique<DataCopy>();
        const auto* former = scene.database.detail<DataCopy>(*block);
        copy->original = former ? former->original : *block;
        next = scene.storeBytes({}, miSCENE_USERDATA, record.data(), record.size(), std::move(copy));
    }
    return next;
}

}  // namespace

void readUserData(SceneContext& scene) {
    Cursor& in = scene.in;
    DataHead data;
    data.name = scene.readNewName("the name of user data");
    if (in.accept("tag")) data.label = static_cast<miUint>(in.readInteger());
    if (in.atInteger()) return readGivenBytes(scene, data);
    if (!in.atString()) in.fail("a byte count, a file name or a data declaration");
    in.followedBy('(') ? readDeclared(scene, data) : readFromFile(scene, data);
}

void readDataStatement(SceneContext& scene, miTag& chain) {
    if (scene.in.accept("null")) {
        chain = miNULLTAG;
        return;
    }
    const miTag added = scene.readReference({miSCENE_USERDATA}, "user data");
    if (!added) return;
    auto blocks = blocksOf(scene.database, chain);
    if (blocks.size() >= kLongestChain) throw SyntaxError{scene.in.place(), "the element has too much user data"};
    blocks.push_back(added);
    chain = linkBlocks(scene, blocks);
}

void readAttribute(SceneContext& scene, Detail& detail) {
    Cursor& in = scene.in;
    std::string name;
    const auto statement = in.copy([&] {
        while (in.current().kind == TokenKind::Symbol && !in.at("end")) in.advance();
        if (!in.atString()) in.fail("the quoted name of an attribute");
        name = in.readString();
        if (in.at('[') || in.at('{') || in.atString()) return in.skipGroup();
        if (in.atBoolean() || in.at("null")) return in.advance();
        in.readFloats(16);
    });
    auto all = detail.attributes ? std::make_shared<std::map<std::string, std::string>>(*detail.attributes)
                                 : std::make_shared<std::map<std::string, std::string>>();
    (*all)[name] = std::string(statement->begin() + 1, statement->end());
    detail.attributes = std::move(all);
}

}  // namespace lumorender
