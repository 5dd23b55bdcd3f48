#include "scan/parts/part_file.h"

#include <charconv>
#include <filesystem>
#include <sstream>
#include <string_view>
#include <zlib.h>

namespace scan {

namespace {

std::uint32_t crc_of(std::string_view text) {
    return static_cast<std::uint32_t>(
        crc32_z(0, reinterpret_cast<Bytef const*>(text.data()), text.size()));
}

// The counts of haplotypes and windows, then "code lnP" by window, in digits that give the number back.
std::string window_lines(chunk_result const& chunk) {
    std::string lines =
        std::to_string(chunk.n_no_saddle_point) + " " + std::to_string(chunk.n_unequal) + "\n";
    for (std::size_t i = 0; i < chunk.codes.size(); ++i) {
        char digits[32];
        auto const end = std::to_chars(digits, digits + sizeof digits, chunk.log_p[i]);
        lines += std::to_string(static_cast<int>(chunk.codes[i])) + " ";
        lines.append(digits, end.ptr).push_back('\n');
    }
    return lines;
}

void read_window_lines(std::string const& lines, chunk_result& chunk) {
    std::istringstream stream(lines);
    int code;
    stream >> chunk.n_no_saddle_point >> chunk.n_unequal;
    for (std::string number; stream >> code >> number;) {
        double log_p = 0;
        std::from_chars(number.data(), number.data() + number.size(), log_p);
        chunk.codes.push_back(static_cast<error_code>(code));
        chunk.log_p.push_back(log_p);
    }
}

} // namespace

std::string part_text(std::size_t number, chunk_result const& chunk,
                      std::vector<result_table> const& tables) {
    std::string sizes, body;
    auto const add = [&](std::string const& text) {
        sizes += " " + std::to_string(text.size());
        body += text;
    };
    for (result_table const& table : tables)
        add(chunk.*table.rows);
    add(window_lines(chunk));
    return std::to_string(number) + " " + std::to_string(crc_of(body)) + sizes + "\n" + body;
}

part_reader::part_reader(std::string const& path, std::vector<result_table> const& tables)
    : tables_(tables), stream_(path, std::ios::binary) {
    std::error_code error;
    left_ = std::filesystem::file_size(path, error);
    if (error) left_ = 0;
}

bool part_reader::read(std::size_t number, chunk_result& chunk) {
    std::string line;
    std::getline(stream_, line);
    std::istringstream head(line);
    std::size_t found;
    std::uint32_t crc;
    if (!(head >> found >> crc) || found != number) return false;
    std::string body;
    std::vector<std::size_t> sizes(tables_.size() + 1);
    for (std::size_t& size : sizes) {
        if (!(head >> size) || size > left_) return false;
        left_ -= size;
        std::size_t const before = body.size();
        body.resize(before + size);
        if (!stream_.read(&body[before], static_cast<std::streamsize>(size))) return false;
    }
    if (crc_of(body) != crc) return false;

    chunk = {};
    std::size_t from = 0;
    for (std::size_t t = 0; t < tables_.size(); from += sizes[t++])
        chunk.*tables_[t].rows = body.substr(from, sizes[t]);
    read_window_lines(body.substr(from), chunk);
    return true;
}

part_state check_part(std::string const& path, index_range const& chunks,
                      std::vector<result_table> const& tables) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) return part_state::absent;
    part_reader reader(path, tables);
    chunk_result chunk;
    for (std::size_t c = chunks.first; c < chunks.end; ++c)
        if (!reader.read(c, chunk)) return part_state::damaged;
    return reader.is_at_end() ? part_state::whole : part_state::damaged;
}

} // namespace scan
