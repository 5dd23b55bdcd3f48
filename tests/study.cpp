#include "tests/study.h"

#include "ggi/case_control_ggi.h"
#include "ggi/case_control_ggi_init.h"
#include "ggi/case_control_ggi_statistics.h"
#include "ggi/console/common/console_io.h"
#include "ggi/console/common/effect_map.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <stdexcept>

namespace fs = std::filesystem;

namespace {

void require(int status, char const* step) {
    if (status != 1) throw std::logic_error(step + (" ended with " + std::to_string(status)));
}

} // namespace

scratch::scratch() {
    std::string name = (fs::temp_directory_path() / "quilmar-XXXXXX").string();
    path = mkdtemp(&name[0]);
}

scratch::~scratch() {
    fs::remove_all(path);
}

std::string scratch::write(std::string const& name, std::string const& text) const {
    std::ofstream(file(name), std::ios::binary) << text;
    return file(name);
}

std::string scratch::read(std::string const& name) const {
    std::ifstream stream(file(name), std::ios::binary);
    return {std::istreambuf_iterator<char>(stream), {}};
}

bool scratch::has(std::string const& name) const {
    return fs::exists(file(name));
}

std::string scratch::list(std::string const& directory) const {
    std::set<std::string> names;
    for (fs::directory_entry const& entry : fs::directory_iterator(file(directory)))
        names.insert(entry.path().filename());
    std::string text;
    for (std::string const& name : names)
        text += name + " ";
    return text;
}

sample::sample(std::string const& data_text, std::string const& spec_text) {
    scratch files;
    v.init();
    ccg.init();
    labels = nullptr;
    frequency = result{};
    require(validate_spec(files.write("spec", spec_text), v), "validate_spec");
    ccg.n_covariates = v.n_covariates;
    require(read_file(files.write("data", data_text), v, labels, ccg.genotypes, ccg.status,
                      ccg.covariates, ccg.n_subjects),
            "read_file");
    ccg.collapse(v.n_genes, v.gene_loci);
    frequencies.resize(std::size_t{1} << v.n_loci());
    frequency.estimates = frequencies.data();
}

sample::~sample() {
    ccg.free();
    v.free();
    delete[] labels;
}

study::study(std::string const& data_text, std::string const& spec_text, double origin,
             double scale)
    : sample(data_text, spec_text), fit{}, stats{} {
    for (unsigned c = 0; c < ccg.n_covariates; ++c)
        for (unsigned i = 0; i < ccg.n_subjects; ++i)
            ccg.covariates[c][i] = origin + scale * ccg.covariates[c][i];
    set_up();
}

void study::set_up() {
    setup_settings settings{v.hw,         v.sample,   v.frequency_iterations, v.frequency_tolerance,
                            v.iterations, v.threshold};
    setup_outcome outcome;
    require(case_control_ggi_setup(ccg, settings, frequency, outcome), "case_control_ggi_setup");
    if (outcome.is_too_long) throw std::logic_error("case_control_ggi_setup would take too long");
    v.hw = settings.hw;
    require(map_effects("data", v, ccg), "map_effects");
    require(case_control_ggi_set_model(ccg, v.hw, v.model), "case_control_ggi_set_model");
    case_control_ggi_start(ccg, v.hw, frequency, fit);
}

study::~study() {
    case_control_ggi_clear_model(ccg, v.hw);
    stats.free();
    fit.free();
}

int study::run() {
    int const status = case_control_ggi(ccg, v.hw, v.iterations, v.tolerance, fit);
    require(case_control_ggi_statistics(ccg, v.hw, fit.estimates, stats),
            "case_control_ggi_statistics");
    return status;
}
