#include "scan/scan_leads.h"

#include "scan/scan_windows.h"

#include <string>
#include <vector>

namespace scan {

namespace {

constexpr std::size_t MOST_EFFECTS = 1000;

void note_leads(std::vector<lead> const& leads, std::size_t n_qualifying, options const& o,
                run_log& log) {
    log.note(o.prefix + ".lead.tsv: " + std::to_string(leads.size()) + " lead windows, for " +
             std::to_string(n_qualifying) + " with P or TOP_P_BONF at most 0.0001.");
}

void note_without_effects(std::vector<lead> const& leads, window_list const& list, run_log& log) {
    if (leads.size() <= MOST_EFFECTS) return;
    std::string names;
    for (lead const& l : leads)
        if (l.rank >= MOST_EFFECTS) names += (names.empty() ? "" : ", ") + list.name(l.window);
    log.warn("Effects of the 1000 lead windows with the smallest P alone; --effects 1e-4 gives "
             "those of all windows up to this P.");
    log.record("Lead windows without effects: " + names + ".");
}

// The row of a lead: that of its window, which ends a line, and more columns.
std::string lead_row(std::string const& window_row, lead const& l) {
    return window_row.substr(0, window_row.size() - 1) + "\t" + std::to_string(l.n_windows) + "\t" +
           std::to_string(l.from) + "\t" + std::to_string(l.to) + "\n";
}

} // namespace

void scan_leads(scan_input const& input, options const& o, lead_finder const& found,
                result_files& files, run_log& log) {
    std::vector<lead> const leads = found.leads(o.effects.kb);
    note_leads(leads, found.n_qualifying(), o, log);
    bool const has_effects = o.effects.windows == effect_windows::leads;
    if (has_effects) note_without_effects(leads, input.list, log);
    std::vector<window_run> runs;
    for (lead const& l : leads)
        runs.push_back({{l.window, l.window + 1}, has_effects && l.rank < MOST_EFFECTS});
    scan_windows(input, o, runs, "lead window", [&](std::size_t i, chunk_result const& computed) {
        chunk_result rows;
        rows.lead_rows = lead_row(computed.window_rows, leads[i]);
        rows.effect_rows = computed.effect_rows;
        files.write(rows);
    });
}

} // namespace scan
