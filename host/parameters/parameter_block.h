// The bytes of a parameter list in memory, and beside them the ghost tags that say where each value comes from.
#pragma once

#include "database/declaration.h"

#include <cstddef>
#include <cstring>
#include <vector>

namespace lumorender {

/// The fixed record comes first, the elements of its arrays follow in the order in which they were given.
class ParameterBlock {
public:
    /// All values at their declared defaults, all ghosts 0.
    ParameterBlock(const std::vector<Parameter>& parameters, std::size_t size);
    /// The block of an existing shader, to be changed.
    ParameterBlock(const char* values, const char* ghosts, std::size_t size);

    template <class T>
    void put(std::size_t at, const T& value) {
        std::memcpy(values_.data() + at, &value, sizeof value);
    }
    void clear(std::size_t at, std::size_t size) { std::memset(values_.data() + at, 0, size); }
    void setDefaults(const std::vector<Parameter>& parameters, std::size_t base);
    void setDefault(const Parameter& parameter, std::size_t at);

    /// As if nothing had been given. Of an array it is the element that lies there.
    void reset(const Parameter& parameter, std::size_t at);

    /// The value was given here.
    void markGiven(std::size_t at) { putGhost(at, miPARAMTAG); }
    /// The value comes from a shader.
    void connect(std::size_t at, miTag source);

    /// Room for `count` elements behind everything else, such that the array's index arithmetic reaches it. Sets the
    /// array's start and count.
    /// @param base where the record lies that holds the array.
    /// @return where the first element lies.
    std::size_t appendArray(const Parameter& array, std::size_t base, std::size_t count);

    /// One more value of the parameter's type at the end, at its default. Returns where it lies.
    std::size_t appendElement(const Parameter& parameter);
    /// Copies all of `other`, which must fit, to this place.
    void copyFrom(const ParameterBlock& other, std::size_t at);
    /// Takes a parameter of `other` that has the type of `to`.
    void take(const Parameter& to, std::size_t base, const ParameterBlock& other, const Parameter& from,
              std::size_t otherBase);
    /// Takes the record of `other` that has these parameters, its arrays included.
    void takeRecord(const std::vector<Parameter>& parameters, std::size_t base, const ParameterBlock& other,
                    std::size_t otherBase);

    std::size_t size() const { return values_.size(); }
    template <class T>
    T get(std::size_t at) const {
        T value;
        std::memcpy(&value, values_.data() + at, sizeof value);
        return value;
    }
    const std::byte* values() const { return values_.data(); }
    const std::byte* ghosts() const { return ghosts_.data(); }
    bool hasConnections() const { return hasConnections_; }

private:
    void putGhost(std::size_t at, miTag tag) { std::memcpy(ghosts_.data() + at, &tag, sizeof tag); }
    void takeElement(const Parameter& parameter, std::size_t at, const ParameterBlock& other, std::size_t otherAt);

    std::vector<std::byte> values_;
    std::vector<std::byte> ghosts_;
    bool hasConnections_ = false;
};

/// True where elements of the parameter contain arrays, so that they have no fixed size.
bool containsArrays(const Parameter& parameter);

}  // namespace lumorender
