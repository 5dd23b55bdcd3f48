// A row has the codes of 64 subjects in 16 bytes. Three exchanges between rows, of 2, 4 and 8 bits,
// turn 8 such rows into 8 words of 8 keys each, as a matrix is transposed by halves: the key of
// subject 8 k + j is the k-th of word j.
#include "scan/score/genotype_keys.h"

#include <algorithm>
#include <cstring>

namespace scan {

namespace {

using word = std::uint64_t __attribute__((vector_size(16)));

constexpr std::size_t SUBJECTS_PER_WORD = 64, KEYS_PER_WORD = 8;
constexpr std::uint8_t NO_SUBJECTS = 0xaa;

template <unsigned BITS, std::uint64_t MASK> void exchange(word& a, word& b) {
    word const low = (a & MASK) | (b & MASK) << BITS;
    b = (a >> BITS & MASK) | (b & ~MASK);
    a = low;
}

void transpose(word* x) {
    for (unsigned r = 0; r < 8; r += 2)
        exchange<2, 0x3333333333333333>(x[r], x[r + 1]);
    for (unsigned r : {0, 1, 4, 5})
        exchange<4, 0x0f0f0f0f0f0f0f0f>(x[r], x[r + 2]);
    for (unsigned r = 0; r < 4; ++r)
        exchange<8, 0x00ff00ff00ff00ff>(x[r], x[r + 4]);
}

} // namespace

sample_places::sample_places(std::vector<std::uint8_t> const& is_case,
                             std::vector<std::uint32_t> const& sample)
    : is_case_(is_case), place_(sample.size()), status_(sample.back() / 4 + 1, NO_SUBJECTS) {
    for (std::size_t i = 0; i < sample.size(); ++i) {
        std::uint32_t const s = sample[i];
        status_[s / 4] ^= static_cast<std::uint8_t>((2 ^ is_case[i]) << s % 4 * 2);
        place_[i] = static_cast<std::uint16_t>(s % TILE / SUBJECTS_PER_WORD * SUBJECTS_PER_WORD +
                                               s % 8 * KEYS_PER_WORD +
                                               s % SUBJECTS_PER_WORD / KEYS_PER_WORD);
        first_.resize(s / TILE + 1, static_cast<std::uint32_t>(i));
    }
    first_.push_back(static_cast<std::uint32_t>(sample.size()));
}

std::size_t form_keys(genotype_row const* rows, unsigned n_rows, std::size_t row_bytes,
                      std::size_t tile, tile_keys& keys) {
    std::size_t const first = tile * TILE / 4, end = std::min(first + TILE / 4, row_bytes);
    std::uint16_t* key = keys.data();
    for (std::size_t byte = first; byte < end; byte += sizeof(word)) {
        word x[SNPS_PER_KEY] = {};
        if (byte + sizeof(word) <= end)
            for (unsigned r = 0; r < n_rows; ++r)
                std::memcpy(x + r, rows[r] + byte, sizeof(word));
        else
            for (unsigned r = 0; r < n_rows; ++r) {
                std::memset(x + r, NO_SUBJECTS, sizeof(word));
                std::memcpy(x + r, rows[r] + byte, end - byte);
            }
        transpose(x);
        std::memcpy(key, x, sizeof x);
        key += SUBJECTS_PER_WORD;
    }
    return static_cast<std::size_t>(key - keys.data());
}

} // namespace scan
