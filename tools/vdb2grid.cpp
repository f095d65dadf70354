// vdb2grid: makes a voxel grid for lumoVexaVolumeEngine of an OpenVDB file.
//
//     vdb2grid FROM.vdb TO.grid [-density NAME] [-temperature NAME] [-color NAME] [-shrink N]
//
// Takes the box around the active voxels of the grid "density" (or of another name), and in the same box "temperature" and
// the color grid where they are named. -shrink makes one voxel of N x N x N. Prints the `transform` that puts the box where
// the file has it. The file holds the words of a block "VolumeGrid", see declarations/lumovexa.mi.
#include <openvdb/openvdb.h>
#include <openvdb/tools/Interpolation.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

using openvdb::Coord;
using openvdb::Vec3d;

struct Order {
    std::string from, to, density = "density", temperature, color;
    int shrink = 1;
};

Order readOrder(int count, char** words) {
    const std::string usage =
        "usage: vdb2grid FROM.vdb TO.grid [-density NAME] [-temperature NAME] [-color NAME] [-shrink N]";
    if (count < 3 || count % 2 == 0) throw std::runtime_error(usage);
    Order order;
    order.from = words[1];
    order.to = words[2];
    for (int i = 3; i < count; i += 2) {
        const std::string option = words[i];
        if (option == "-density")
            order.density = words[i + 1];
        else if (option == "-temperature")
            order.temperature = words[i + 1];
        else if (option == "-color")
            order.color = words[i + 1];
        else if (option == "-shrink")
            order.shrink = std::atoi(words[i + 1]);
        else
            throw std::runtime_error("there is no option " + option + "; " + usage);
    }
    if (order.shrink < 1) throw std::runtime_error("-shrink takes a number from 1 on");
    return order;
}

template <class Grid>
typename Grid::Ptr readGrid(openvdb::io::File& file, const std::string& name) {
    for (auto each = file.beginName(); each != file.endName(); ++each) {
        if (each.gridName() != name) continue;
        auto grid = openvdb::gridPtrCast<Grid>(file.readGrid(name));
        if (!grid) throw std::runtime_error("\"" + name + "\" has values of another type");
        return grid;
    }
    std::string known;
    for (auto each = file.beginName(); each != file.endName(); ++each) known += " \"" + each.gridName() + "\"";
    throw std::runtime_error("there is no grid \"" + name + "\"; there are" + known);
}

/// The box of voxels that are taken; voxels of the result are `shrink` as wide.
struct Box {
    Coord low;
    std::array<int, 3> size;
    int shrink;

    std::size_t voxels() const { return static_cast<std::size_t>(size[0]) * size[1] * size[2]; }
};

Box boxOf(const openvdb::FloatGrid& density, int shrink) {
    if (density.getGridClass() == openvdb::GRID_LEVEL_SET)
        throw std::runtime_error("the grid holds distances to a surface, no densities");
    const openvdb::CoordBBox active = density.evalActiveVoxelBoundingBox();
    if (active.empty()) throw std::runtime_error("the grid is empty");
    const Coord whole = active.dim();
    const auto shrunk = [shrink](int n) { return (n + shrink - 1) / shrink; };
    return {active.min(), {shrunk(whole.x()), shrunk(whole.y()), shrunk(whole.z())}, shrink};
}

/// Means over the voxels' cells, x fastest. `other` is sampled where the voxels of `placed` are in the world.
template <class Grid, class Put>
void sample(const openvdb::FloatGrid& placed, const Grid& other, const Box& box, Put put) {
    using Value = typename Grid::ValueType;
    openvdb::tools::GridSampler<typename Grid::ConstAccessor, openvdb::tools::BoxSampler> at(other.getConstAccessor(),
                                                                                             other.transform());
    const double share = 1.0 / (double(box.shrink) * box.shrink * box.shrink);
    for (int z = 0; z < box.size[2]; ++z)
        for (int y = 0; y < box.size[1]; ++y)
            for (int x = 0; x < box.size[0]; ++x) {
                Value sum = openvdb::zeroVal<Value>();
                const Coord first = box.low + Coord(x * box.shrink, y * box.shrink, z * box.shrink);
                for (int k = 0; k < box.shrink * box.shrink * box.shrink; ++k) {
                    const Coord voxel =
                        first + Coord(k % box.shrink, k / box.shrink % box.shrink, k / box.shrink / box.shrink);
                    sum += at.wsSample(placed.indexToWorld(voxel));
                }
                put(sum * static_cast<float>(share));
            }
}

/// World to the box from -1 to 1, as scenes write it: rows, translation last.
openvdb::Mat4d placement(const openvdb::FloatGrid& grid, const Box& box) {
    const Vec3d half(box.size[0] * box.shrink * 0.5, box.size[1] * box.shrink * 0.5, box.size[2] * box.shrink * 0.5);
    const Vec3d middle = box.low.asVec3d() - Vec3d(0.5) + half;
    const Vec3d center = grid.indexToWorld(middle);
    openvdb::Mat4d toWorld = openvdb::Mat4d::identity();
    for (int axis = 0; axis < 3; ++axis) {
        Vec3d end = middle;
        end[axis] += half[axis];
        const Vec3d row = grid.indexToWorld(end) - center;
        for (int k = 0; k < 3; ++k) toWorld[axis][k] = row[k];
    }
    for (int k = 0; k < 3; ++k) toWorld[3][k] = center[k];
    return toWorld.inverse();
}

/// The block of words: a head, in which each list says where it begins behind its first element, and the lists.
class Writer {
public:
    explicit Writer(const Box& box) {
        constexpr std::uint32_t kMagic = 0x56477264;
        words_ = {kMagic, std::uint32_t(box.size[0]), std::uint32_t(box.size[1]), std::uint32_t(box.size[2])};
        words_.resize(kHead);
    }

    void add(float value) {
        std::uint32_t word;
        static_assert(sizeof word == sizeof value);
        std::memcpy(&word, &value, sizeof word);
        words_.push_back(word);
    }

    /// What was added since `begin` words is the list whose start stands at `head`.
    void setList(std::size_t head, std::size_t begin, std::size_t wordsEach) {
        const std::size_t inlineElement = head + 2;
        words_[head] = std::uint32_t((begin - inlineElement) / wordsEach);
        words_[head + 1] = std::uint32_t((words_.size() - begin) / wordsEach);
    }

    std::size_t size() const { return words_.size(); }

    /// The list of colors begins at a whole number of colors behind its inline element.
    void padForColors() {
        while ((words_.size() - (kColor + 2)) % 4 != 0) words_.push_back(0);
    }

    void write(const std::string& path) const {
        std::ofstream file(path, std::ios::binary);
        file.write(reinterpret_cast<const char*>(words_.data()), std::streamsize(words_.size() * sizeof words_[0]));
        if (!file.flush()) throw std::runtime_error("cannot write " + path);
    }

    static constexpr std::size_t kDensity = 4, kTemperature = 7, kColor = 10, kHead = 16;

private:
    std::vector<std::uint32_t> words_;
};

void convert(const Order& order) {
    openvdb::initialize();
    openvdb::io::File file(order.from);
    file.open();
    const auto density = readGrid<openvdb::FloatGrid>(file, order.density);
    const Box box = boxOf(*density, order.shrink);
    if (box.voxels() > 1u << 28) throw std::runtime_error("the grid is too large, try -shrink");

    Writer words(box);
    std::size_t begin = words.size();
    sample(*density, *density, box, [&](float value) { words.add(value); });
    words.setList(Writer::kDensity, begin, 1);
    if (!order.temperature.empty()) {
        begin = words.size();
        sample(*density, *readGrid<openvdb::FloatGrid>(file, order.temperature), box,
               [&](float value) { words.add(value); });
        words.setList(Writer::kTemperature, begin, 1);
    }
    if (!order.color.empty()) {
        words.padForColors();
        begin = words.size();
        sample(*density, *readGrid<openvdb::Vec3SGrid>(file, order.color), box, [&](const openvdb::Vec3s& value) {
            for (const float channel : {value[0], value[1], value[2], 1.0f}) words.add(channel);
        });
        words.setList(Writer::kColor, begin, 4);
    }
    words.write(order.to);

    const openvdb::Mat4d place = placement(*density, box);
    std::printf("%d x %d x %d voxels\ntransform", box.size[0], box.size[1], box.size[2]);
    for (int i = 0; i < 16; ++i) std::printf(" %.9g", place[i / 4][i % 4]);
    std::printf("\n");
}

}  // namespace

int main(int count, char** words) {
    try {
        convert(readOrder(count, words));
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "vdb2grid: %s\n", error.what());
        return 1;
    }
}
