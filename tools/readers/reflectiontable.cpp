#include "readers/reflectiontable.h"

#include "base/failure.h"

#include <msgpack.hpp>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <utility>

namespace torvik::tools {

namespace {

constexpr std::string_view title = "dials::af::reflection_table";
constexpr std::uint64_t mostrows = 5'000'000;
constexpr std::size_t mostobjects = 1'000'000; // a column has five, of whatever length

// The value of a key of a map; nothing if it has none.
const msgpack::object* valueof(const msgpack::object& map, std::string_view key)
{
    if (map.type != msgpack::type::MAP) return nullptr;
    for (std::uint32_t i = 0; i < map.via.map.size; ++i) {
        const msgpack::object_kv& pair = map.via.map.ptr[i];
        if (pair.key.type == msgpack::type::STR
            && std::string_view(pair.key.via.str.ptr, pair.key.via.str.size) == key)
            return &pair.val;
    }
    return nullptr;
}

bool isarray(const msgpack::object& value, std::uint32_t size)
{
    return value.type == msgpack::type::ARRAY && value.via.array.size == size;
}

// Unsigned numbers and bit patterns from bytes, the least first, whatever the machine.
template <typename number>
number numberat(const char* bytes)
{
    using pattern = std::conditional_t<sizeof(number) == 8, std::uint64_t, std::uint32_t>;
    pattern bits = 0;
    for (std::size_t i = sizeof(number); i-- > 0;)
        bits = static_cast<pattern>(bits << 8U | static_cast<unsigned char>(bytes[i]));
    return std::bit_cast<number>(bits);
}

// Counts what lists and maps hold, and stops beyond a limit.
struct objectcounter : msgpack::null_visitor {
    bool start_array_item()
    {
        return ++count <= mostobjects;
    }
    bool start_map_key()
    {
        return ++count <= mostobjects;
    }
    std::size_t count = 0;
};

class tablereader {
public:
    tablereader(std::string name, std::string_view bytes) : name_(std::move(name))
    {
        // Lengths that a file claims are given memory before what follows is seen: hence the limits,
        // far above what the tables have. Long columns stay where they are.
        constexpr std::size_t longest = 100'000;
        constexpr std::size_t deepest = 16;
        objectcounter counter;
        if (!msgpack::parse(bytes.data(), bytes.size(), counter) && counter.count > mostobjects)
            fail("expected a table of reflections of DIALS, found more than a million values");
        const msgpack::unpack_limit limits(longest, longest, bytes.size(), bytes.size(),
                                           bytes.size(), deepest);
        const auto refer = [](msgpack::type::object_type, std::size_t, void*) { return true; };
        try {
            handle_ = msgpack::unpack(bytes.data(), bytes.size(), refer, nullptr, limits);
        } catch (const msgpack::unpack_error&) {
            fail(
                "expected a table of reflections of DIALS, found bytes that are no msgpack, or end "
                "too early");
        }
    }

    reflectiontable read()
    {
        const msgpack::object& file = handle_.get();
        if (!isarray(file, 3)) fail("expected a list of a name, a version and a table");
        const msgpack::object* rows = valueof(file.via.array.ptr[2], "nrows");
        columns_ = valueof(file.via.array.ptr[2], "data");
        if (rows == nullptr || columns_ == nullptr)
            fail("expected a table with 'nrows' and 'data'");
        if (rows->type != msgpack::type::POSITIVE_INTEGER || rows->via.u64 > mostrows)
            fail("expected 5 million rows or less");
        rows_ = static_cast<std::size_t>(rows->via.u64);
        reflectiontable table;
        table.rows = rows_;
        table.experiment = numbers<std::int32_t>("id", "int");
        table.imageset = numbers<std::int32_t>("imageset_id", "int");
        table.panel = numbers<std::uint64_t>("panel", "std::size_t");
        table.pixels = vectors("xyzobs.px.value");
        table.millimetres = vectors("xyzobs.mm.value");
        table.rlp = vectors("rlp");
        table.intensity = numbers<double>("intensity.sum.value", "double");
        const std::vector<std::int32_t> hkl =
            numbers<std::int32_t>("miller_index", "cctbx::miller::index<>", 3);
        for (std::size_t i = 0; i + 2 < hkl.size(); i += 3)
            table.index.push_back({hkl[i], hkl[i + 1], hkl[i + 2]});
        return table;
    }

private:
    [[noreturn]] void fail(const std::string& what) const
    {
        throw badfile(name_, 0, 0, what);
    }

    // The numbers of a column, so many for each row. A column is a list of the name of its type and
    // a list of the number of its rows and its bytes.
    template <typename number>
    [[nodiscard]] std::vector<number> numbers(const std::string& column, std::string_view type,
                                              std::size_t each = 1) const
    {
        const msgpack::object* found = valueof(*columns_, column);
        if (found == nullptr) return {};
        if (!isarray(*found, 2) || !isarray(found->via.array.ptr[1], 2))
            fail("expected a type, a length and bytes in the column " + column);
        const msgpack::object& named = found->via.array.ptr[0];
        const msgpack::object& length = found->via.array.ptr[1].via.array.ptr[0];
        const msgpack::object& bytes = found->via.array.ptr[1].via.array.ptr[1];
        if (named.type != msgpack::type::STR
            || std::string_view(named.via.str.ptr, named.via.str.size) != type)
            fail("expected the type " + std::string(type) + " in the column " + column);
        if (length.type != msgpack::type::POSITIVE_INTEGER || length.via.u64 != rows_
            || bytes.type != msgpack::type::BIN
            || bytes.via.bin.size != rows_ * each * sizeof(number))
            fail("expected " + std::to_string(rows_) + " rows in the column " + column);
        std::vector<number> values;
        values.reserve(rows_ * each);
        for (std::size_t i = 0; i < rows_ * each; ++i)
            values.push_back(numberat<number>(bytes.via.bin.ptr + i * sizeof(number)));
        return values;
    }

    [[nodiscard]] std::vector<vector3> vectors(const std::string& column) const
    {
        const std::vector<double> x = numbers<double>(column, "vec3<double>", 3);
        std::vector<vector3> result;
        for (std::size_t i = 0; i + 2 < x.size(); i += 3)
            result.emplace_back(x[i], x[i + 1], x[i + 2]);
        return result;
    }

    std::string name_;
    msgpack::object_handle handle_;
    const msgpack::object* columns_ = nullptr;
    std::size_t rows_ = 0;
};

} // namespace

bool looksreflectiontable(std::string_view start)
{
    constexpr std::size_t longesthead = 8; // of the list and of the name
    return start.substr(0, longesthead + title.size()).find(title) != std::string_view::npos;
}

reflectiontable readreflectiontable(const std::string& name, std::string_view bytes)
{
    return tablereader(name, bytes).read();
}

} // namespace torvik::tools
