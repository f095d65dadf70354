// Reads `hair` of an object: curves whose numbers stand in one block, or as big-endian words between back quotes.
#include "elements/element_readers.h"

#include <fmt/format.h>

#include <bit>
#include <cstring>
#include <vector>

namespace lumorender {

namespace {

constexpr int kMostNumbers = 1 << 30;
constexpr int kMostExtras = 192;  ///< texture spaces are 64 vectors

class HairReader {
public:
    explicit HairReader(SceneContext& scene) : scene_(scene), in_(scene.in) {}

    HairSource read() {
        while (!in_.at("scalar")) {
            if (in_.accept("hair"))
                readExtras(hair_.perHair);
            else if (in_.accept("vertex"))
                readExtras(hair_.perVertex);
            else
                readSetting();
        }
        readScalars();
        readOffsets();
        if (!in_.acceptEnd("hair")) in_.fail("end hair");
        return std::move(hair_);
    }

private:
    SceneContext& scene_;
    Cursor& in_;
    HairSource hair_;

    void readSetting() {
        if (in_.accept("material")) {
            hair_.material = scene_.readReference({miSCENE_MATERIAL, miSCENE_FUNCTION}, "a material");
        } else if (in_.accept("radius")) {
            hair_.radius = in_.readFloat();
        } else if (in_.accept("approximate")) {
            hair_.approximation = in_.readInteger(0, 1 << 16);
        } else if (in_.accept("degree")) {
            hair_.degree = in_.readInteger(1, 3);
        } else if (in_.at("max")) {
            scene_.problems.tell(in_.place(), "hair", "max");
            in_.advance();
            if (!in_.accept("size")) in_.expect("depth");
            in_.readInteger();
        } else {
            in_.fail("a statement of hair, or scalar and its numbers");
        }
    }

    /// One or several behind each keyword. Each takes the place behind the former ones.
    void readExtras(HairExtras& extras) {
        if (!readExtra(extras)) in_.fail("n, m, t, u or radius");
        while (readExtra(extras)) {
        }
    }

    bool acceptOnce(std::string_view word, int at) {
        if (!in_.at(word)) return false;
        if (at >= 0) in_.fail("each of n, m, t, u and radius once for hairs, and once for vertices");
        in_.advance();
        return true;
    }

    bool readExtra(HairExtras& extras) {
        if (acceptOnce("n", extras.normal))
            take(extras, extras.normal, 3);
        else if (acceptOnce("m", extras.motion))
            take(extras, extras.motion, 3 * (extras.motions = readNumber(15)));
        else if (acceptOnce("t", extras.texture))
            take(extras, extras.texture, extras.textures = readNumber(kMostExtras));
        else if (acceptOnce("u", extras.user))
            take(extras, extras.user, extras.users = readNumber(kMostExtras));
        else if (in_.at("radius") && !in_.followingWord().empty()) {
            acceptOnce("radius", extras.radius);  // with a number behind it, it is that of all hairs
            take(extras, extras.radius, 1);
        } else
            return false;
        return true;
    }

    int readNumber(int most) { return in_.atInteger() ? in_.readInteger(0, most) : 1; }

    static void take(HairExtras& extras, int& at, int numbers) {
        at = numbers > 0 ? extras.size : -1;
        extras.size += numbers;
    }

    std::size_t readCount(int least) {
        in_.expect('[');
        const auto count = static_cast<std::size_t>(in_.readInteger(least, kMostNumbers));
        in_.expect(']');
        return count;
    }

    std::string_view takeWords(std::size_t count) { return in_.takeRaw(count * sizeof(std::uint32_t)); }

    static std::uint32_t word(std::string_view bytes, std::size_t number) {
        std::uint32_t value = 0;
        std::memcpy(&value, bytes.data() + number * sizeof value, sizeof value);
        return __builtin_bswap32(value);
    }

    bool atBlock() const { return in_.current().kind == TokenKind::Backquote; }

    void readScalars() {
        in_.expect("scalar");
        const std::size_t count = readCount(0);
        if (atBlock()) {
            const std::string_view bytes = takeWords(count);
            hair_.scalars.resize(count);
            for (std::size_t i = 0; i < count; ++i) hair_.scalars[i] = std::bit_cast<float>(word(bytes, i));
            return;
        }
        // Memory grows with what is really there, whatever the file claims.
        for (std::size_t i = 0; i < count; ++i) {
            if (!in_.atNumber()) in_.fail(fmt::format("{} numbers of hairs, of which {} came", count, i));
            hair_.scalars.push_back(in_.readFloat());
        }
    }

    /// Each is checked against the one before it.
    void readOffsets() {
        in_.expect("hair");
        const std::size_t count = readCount(1);
        const Place blockPlace = in_.place();
        const bool isBlock = atBlock();
        const std::string_view bytes = isBlock ? takeWords(count) : std::string_view();
        for (std::size_t i = 0; i < count; ++i) {
            const Place place = isBlock ? blockPlace : in_.place();
            const std::uint32_t offset = isBlock ? word(bytes, i) : static_cast<std::uint32_t>(in_.readInteger());
            if (const std::string problem = problemOfOffset(hair_, offset); !problem.empty())
                throw SyntaxError{place, problem};
            hair_.offsets.push_back(offset);
        }
        if (hair_.offsets.back() != hair_.scalars.size())
            throw SyntaxError{in_.place(), fmt::format("found {} as the end of the last hair, expected {}, the number "
                                                       "of scalars",
                                                       hair_.offsets.back(), hair_.scalars.size())};
    }
};

}  // namespace

std::string problemOfOffset(const HairSource& hair, std::uint32_t offset) {
    if (offset > hair.scalars.size())
        return fmt::format("found offset {}, expected at most {}, the number of scalars", offset, hair.scalars.size());
    if (hair.offsets.empty()) return {};
    const std::size_t number = hair.offsets.size() - 1, start = hair.offsets.back();
    const std::size_t extras = static_cast<std::size_t>(hair.perHair.size), each = hair.vertexSize();
    if (offset < start)
        return fmt::format("found offset {}, expected more than {}, where hair {} begins", offset, start, number);
    const std::size_t size = offset - start;
    const std::size_t vertices = size < extras ? 0 : (size - extras) / each;
    const auto degree = static_cast<std::size_t>(hair.degree);
    if (size == extras + vertices * each && vertices > 1 && (vertices - 1) % degree == 0) return {};
    return fmt::format("found {} scalars for hair {}, expected {} and {} for each of 1 + {} n vertices", size, number,
                       extras, each, degree);
}

HairSource readHair(SceneContext& scene) { return HairReader(scene).read(); }

}  // namespace lumorender
