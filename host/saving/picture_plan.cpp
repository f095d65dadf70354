#include "saving/picture_plan.h"

#include <variant>

namespace lumorender {

namespace {

/// Lists the members of a plan, for the one who writes them and for the one who reads them.
struct Put {
    ByteWriter& out;
    template <class... Members>
    void operator()(const Members&... members) {
        (out.put(members), ...);
    }
};
struct Get {
    ByteReader& in;
    template <class... Members>
    void operator()(Members&... members) {
        (in.get(members), ...);
    }
};

/// A new member of ImageFile that decides how a file is written belongs in here, too.
template <class Visit, class File>
void visitFile(Visit&& visit, File& file) {
    visit(file.format, file.compression, file.quality, file.density, file.colors.gamma, file.colors.luminance);
}

/// Members of few values, as one number.
int switchesOf(const ImageFile& file) {
    const ColorRules& colors = file.colors;
    return file.tight + 2 * colors.desaturate + 4 * colors.premultiplied + 8 * colors.dither +
           16 * static_cast<int>(colors.clip);
}

void setSwitches(int switches, ImageFile& file) {
    ColorRules& colors = file.colors;
    file.tight = (switches & 1) != 0;
    colors.desaturate = (switches & 2) != 0;
    colors.premultiplied = (switches & 4) != 0;
    colors.dither = (switches & 8) != 0;
    colors.clip = static_cast<ColorClip>((switches >> 4) % 3);
}

void put(ByteWriter& out, const Metadata& metadata) {
    out.put(static_cast<std::uint64_t>(metadata.size()));
    for (const auto& [name, value] : metadata) {
        out.put(name);
        out.put(static_cast<std::uint8_t>(value.index()));
        std::visit([&](const auto& content) { out.put(content); }, value);
    }
}

template <std::size_t alternative = 0>
void getAlternative(ByteReader& in, std::size_t which, Metadata::mapped_type& value) {
    if constexpr (alternative < std::variant_size_v<Metadata::mapped_type>) {
        if (which == alternative)
            in.get(value.emplace<alternative>());
        else
            getAlternative<alternative + 1>(in, which, value);
    } else {
        throw Failure("its metadata have an unknown type");
    }
}

void get(ByteReader& in, Metadata& metadata) {
    for (auto left = in.count(sizeof(std::uint64_t) + 1); left > 0; --left) {
        const auto name = in.take<std::string>();
        const auto which = in.take<std::uint8_t>();
        getAlternative(in, which, metadata[name]);
    }
}

void require(bool condition) {
    if (!condition) throw Failure("it describes a picture that cannot be");
}

miImg_type imageType(int number) {
    require(number >= 0 && number < miIMG_TYPE_COUNT);
    return static_cast<miImg_type>(number);
}

void check(const PicturePlan& plan) {
    const DataWindow& w = plan.window;
    constexpr int kMost = 1 << 20;
    require(w.width > 0 && w.height > 0 && w.x0 >= 0 && w.y0 >= 0 && w.fullWidth <= kMost && w.fullHeight <= kMost);
    require(w.width <= w.fullWidth - w.x0 && w.height <= w.fullHeight - w.y0);
    require(plan.tileSize > 0 && plan.tileSize <= kMost);
    require(plan.share.count > 0 && plan.share.number >= 0 && plan.share.number <= plan.share.count);
    const auto isLayer = [&](int layer) { return layer >= 0 && layer < static_cast<int>(plan.layers.size()); };
    require(isLayer(plan.primary));
    for (const PicturePlan::File& file : plan.files)
        for (const int layer : file.layers) require(isLayer(layer));
    for (const PicturePlan::File& file : plan.files)
        require(file.types.size() == file.layers.size() && file.names.size() == file.layers.size());
    for (const PicturePlan::File& file : plan.files)
        for (const int type : file.types) imageType(type);
}

}  // namespace

std::vector<std::byte> PicturePlan::bytes() const {
    ByteWriter out;
    Put{out}(share, tileSize, window, primary, previews, hasOutputShaders, folder.string());
    out.put(static_cast<std::uint64_t>(layers.size()));
    for (const Layer& layer : layers) Put{out}(layer.name, static_cast<int>(layer.type), layer.isShown);
    out.put(static_cast<std::uint64_t>(files.size()));
    for (const File& each : files) {
        out.put(each.file.path.string());
        visitFile(Put{out}, each.file);
        out.put(switchesOf(each.file));
        out.put(each.layers);
        out.put(each.types);
        out.put(each.names);
    }
    put(out, metadata);
    return std::move(out.bytes);
}

PicturePlan PicturePlan::fromBytes(std::span<const std::byte> bytes) {
    ByteReader in(bytes);
    PicturePlan plan;
    Get{in}(plan.share, plan.tileSize, plan.window, plan.primary);
    plan.previews = in.take<std::uint8_t>() != 0;
    plan.hasOutputShaders = in.take<std::uint8_t>() != 0;
    plan.folder = in.take<std::string>();
    plan.layers.resize(in.count(sizeof(std::uint64_t)));
    for (Layer& layer : plan.layers) {
        in.get(layer.name);
        layer.type = imageType(in.take<int>());
        layer.isShown = in.take<std::uint8_t>() != 0;
    }
    plan.files.resize(in.count(sizeof(std::uint64_t)));
    for (File& each : plan.files) {
        each.file.path = in.take<std::string>();
        visitFile(Get{in}, each.file);
        setSwitches(in.take<int>(), each.file);
        in.get(each.layers);
        in.get(each.types);
        in.get(each.names);
    }
    get(in, plan.metadata);
    check(plan);
    return plan;
}

}  // namespace lumorender
