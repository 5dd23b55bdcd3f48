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

// Code, degrees of freedom and the other numbers of each window, in digits that give them back.
std::string window_lines(chunk_result const& chunk) {
    std::string lines;
    for (window_outcome const& w : chunk.outcomes) {
        lines += std::to_string(static_cast<int>(w.code)) + " " + std::to_string(w.df);
        for (double const number : {w.chisq, w.log_p, w.top_log_p_bonferroni}) {
            char digits[32];
            auto const end = std::to_chars(digits, digits + sizeof digits, number);
            lines.append(" ").append(digits, end.ptr);
        }
        lines +=
            " " + std::to_string(w.n_no_saddle_point) + " " + std::to_string(w.is_unequal) + "\n";
    }
    return lines;
}

// The haplotypes of 20 SNPs.
constexpr unsigned MOST_DF = 1 << 20;

// False where they are not those of so many windows.
bool read_window_lines(std::string_view lines, std::size_t n_windows, chunk_result& chunk) {
    char const *at = lines.data(), *const end = at + lines.size();
    // Reads a number and the character behind it.
    auto const read = [&](auto& number, char behind) {
        auto const [next, error] = std::from_chars(at, end, number);
        if (error != std::errc() || next == end || *next != behind) return false;
        at = next + 1;
        return true;
    };
    for (std::size_t i = 0; i < n_windows; ++i) {
        std::size_t code;
        unsigned is_unequal;
        window_outcome w;
        if (!read(code, ' ') || code >= N_ERROR_CODES || !read(w.df, ' ') || w.df > MOST_DF ||
            !read(w.chisq, ' ') || !read(w.log_p, ' ') || !read(w.top_log_p_bonferroni, ' ') ||
            !read(w.n_no_saddle_point, ' ') || !read(is_unequal, '\n') || is_unequal > 1)
            return false;
        w.is_unequal = is_unequal == 1;
        w.code = static_cast<error_code>(code);
        chunk.outcomes.push_back(w);
    }
    return at == end;
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

bool part_reader::read(std::size_t number, std::size_t n_windows, chunk_result& chunk) {
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
    return read_window_lines(std::string_view(body).substr(from), n_windows, chunk);
}

part_state check_part(std::string const& path, chunk_grid const& grid, index_range const& chunks,
                      std::vector<result_table> const& tables) {
    std::error_code error;
    auto const kind = std::filesystem::status(path, error).type();
    if (kind == std::filesystem::file_type::not_found) return part_state::absent;
    if (kind != std::filesystem::file_type::regular) return part_state::damaged;
    part_reader reader(path, tables);
    chunk_result chunk;
    for (std::size_t c = chunks.first; c < chunks.end; ++c)
        if (!reader.read(c, grid.windows({c, c + 1}).size(), chunk)) return part_state::damaged;
    return reader.is_at_end() ? part_state::whole : part_state::damaged;
}

} // namespace scan
