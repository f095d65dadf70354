/* What scenes are told about the parameters of shaders, against the records that the shaders read them from. */
#include <fstream>
#include <ostream>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "SDK/lumo.h"
#include "database/declaration.h"
#include "host/elements/reader.h"
#include "record_layout.h"

using namespace lumorender;

std::ostream& operator<<(std::ostream& out, const PlainValue& value) {
    const char* const kinds[] = {"integer", "scalar", "color", "vector", "transform", "tag"};
    return out << kinds[static_cast<int>(value.kind)] << " at " << value.offset;
}

namespace {

ValueKind kindOf(miParam_type type) {
    static const std::map<miParam_type, ValueKind> kinds = {
        {miTYPE_BOOLEAN, ValueKind::kInteger}, {miTYPE_INTEGER, ValueKind::kInteger},
        {miTYPE_SCALAR, ValueKind::kScalar},   {miTYPE_COLOR, ValueKind::kColor},
        {miTYPE_VECTOR, ValueKind::kVector},   {miTYPE_TRANSFORM, ValueKind::kTransform}};
    return kinds.count(type) ? kinds.at(type) : ValueKind::kTag;
}

/* An array is a start, a count and its one inline element. */
void append(RecordLayout& layout, const std::vector<Parameter>& parameters, std::size_t offset) {
    for (const Parameter& each : parameters) {
        if (each.isArray) {
            layout.push_back({offset + each.offset, ValueKind::kInteger});
            layout.push_back({offset + each.offset + 4, ValueKind::kInteger});
        }
        const std::size_t at = offset + (each.isArray ? each.elementOffset : each.offset);
        if (each.type == miTYPE_STRUCT)
            append(layout, each.members, at);
        else
            layout.push_back({at, kindOf(each.type)});
    }
}

RecordLayout layoutOf(const Declaration& declaration) {
    RecordLayout layout;
    append(layout, declaration.parameters, 0);
    return layout;
}

class Declarations : public testing::Test, SceneActions {
protected:
    Declarations() {
        for (const char* file : {"lumovexa.mi", "vexabase.mi"}) {
            std::ostringstream text;
            text << std::ifstream(std::string(LUMO_DECLARATIONS) + "/" + file).rdbuf();
            EXPECT_TRUE(readSceneText(text.str(), file, database, modules, *this, {})) << file;
        }
        for (miTag tag = 1; tag < database.end(); ++tag)
            if (const auto* each = database.detail<Declaration>(tag)) all[each->name] = each;
    }

    bool render(const RenderCommand&) override { return false; }

    Database database;
    Modules modules;
    std::map<std::string, const Declaration*> all;
};

TEST_F(Declarations, NameEveryShaderAndNoOther) {
    std::set<std::string> declared, built;
    for (const auto& [name, declaration] : all)
        if (declaration->kind == DeclarationKind::Shader) declared.insert(name);
    for (const auto& [name, layout] : describedShaders()) built.insert(name);
    EXPECT_EQ(declared, built);
}

TEST_F(Declarations, DescribeTheRecordsThatShadersRead) {
    for (const auto& [name, layout] : describedShaders()) {
        if (!all.count(name) || name == "lumoTraversal")
            continue;  // lumoTraversal only gives instances their parameters, it reads none
        EXPECT_EQ(layoutOf(*all[name]), layout) << name;
        EXPECT_EQ(all[name]->version, 2) << name;
    }
}

TEST_F(Declarations, DescribeTheFrameBufferData) {
    ASSERT_TRUE(all.count("FrameBufferData"));
    RecordLayout record = ::layoutOf<FrameBufferData>();
    record.front().kind = ValueKind::kInteger;  // the magic number, unsigned in C like a tag
    EXPECT_EQ(layoutOf(*all["FrameBufferData"]), record);
}

/* Masks are the first word of either. */
TEST_F(Declarations, PutPassMasksFirst) {
    for (const char* name : {"lumoTraversal", "PassMask"}) {
        ASSERT_TRUE(all.count(name));
        EXPECT_EQ(layoutOf(*all[name]), (RecordLayout{{0, ValueKind::kTag}})) << name;
    }
}

}  // namespace
