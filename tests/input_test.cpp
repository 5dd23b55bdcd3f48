// The two file formats: what is accepted, and every message.
#include "ggi/console/common/console_io.h"
#include "tests/support.h"

#include <gtest/gtest.h>

namespace {

// The text with every "@" replaced by the path.
std::string at_path(std::string text, std::string const& path) {
    for (std::size_t at; (at = text.find('@')) != std::string::npos;)
        text.replace(at, 1, path);
    return text;
}

// Console lines without their prefix and their wrapping.
std::string unwrapped(std::string text) {
    for (char const* noise : {"\n          ", "<quilmar> "})
        for (std::size_t at; (at = text.find(noise)) != std::string::npos;)
            text.replace(at, std::string(noise).size(), noise[0] == '\n' ? " " : "");
    return text;
}

struct reading {
    int status;
    std::string err;
};

// Both file names are kept short, so that wrapping never splits a word.
reading read_spec(std::string const& text, variable& v) {
    scratch files;
    v.init();
    std::string const path = files.write("s", text);
    testing::internal::CaptureStderr();
    int const status = validate_spec(path, v);
    std::string err = unwrapped(testing::internal::GetCapturedStderr());
    for (std::size_t at; (at = err.find(path)) != std::string::npos;)
        err.replace(at, path.size(), "@");
    return {status, err};
}

} // namespace

TEST(validate_spec, messages) {
    std::string const good = "STATUS=1\nGENE=2 3\nEFFECT=1\n";
    struct {
        std::string text;
        int status;
        char const* err;
    } const cases[] = {
        {good, 1, ""},
        {"STATUS=1\r\nGENE=2 3 \t\r\nEFFECT=1\r\nMODEL=dominant\r\n", 1, ""},
        {"free text\n\n   \nof no account\n" + good, 1, ""},
        {good + "colour=red", 1, "@:4: warning: no known variable, line ignored.\n"},
        {good + "the MODEL is additive\n", -9999,
         "@:4: error: invalid definition for variable MODEL.\n"},
        {"", -9999,
         "@: error: variable STATUS is not defined.\n@: error: variable GENE is not defined.\n"
         "@: error: variable EFFECT is not defined.\n"},
        {"GENE=2\nSTATUS=1\n", -9999, "@: error: variable EFFECT is not defined.\n"},
        {"STATUS=1\nEFFECT=1\n", -9999, "@: error: variable GENE is not defined.\n"},
        {good + "STATUS=1\n", -9999,
         "@:4: error: variable STATUS is multiply defined.\n"
         "@:4: warning: column 1 is defined more than once.\n"},
        {good + "THRESHOLD=1\nTHRESHOLD=0\nTOLERANCE=x\n", -9999,
         "variable THRESHOLD must be between 0.0 and 1.0.\n"
         "@:4: error: invalid definition for variable THRESHOLD.\n"
         "variable THRESHOLD must be between 0.0 and 1.0.\n"
         "@:5: error: invalid definition for variable THRESHOLD.\n"
         "@:6: error: invalid definition for variable TOLERANCE.\n"},
        {good + "ITERATIONS=0\nHW=maybe\nSAMPLE=all\nMODEL=Additive\nFITERATIONS=4294967296\n",
         -9999,
         "@:4: error: invalid definition for variable ITERATIONS.\n"
         "@:5: error: invalid definition for variable HW.\n"
         "@:6: error: invalid definition for variable SAMPLE.\n"
         "@:7: error: invalid definition for variable MODEL.\n"
         "@:8: error: invalid definition for variable FITERATIONS.\n"},
        {"STATUS=x\nGENE=2 0 3\nGENE=\nEFFECT=1 -2\n", -9999,
         "@:1: error: x is not a valid column.\n@:2: error: 0 is not a valid column.\n"
         "@:3: error: invalid definition for variable GENE.\n"
         "@:4: error: -2 is not a valid specifier.\n"},
        {"STATUS=1\nGENE=2\nENVIRONMENT=3 4x\nEFFECT=1 1 0\nEFFECT=1 1\nEFFECT=1 a 1\n", -9999,
         "@:3: error: 4x is not a valid column.\n"
         "@:4: error: 0 is not a valid covariate specifier.\n"
         "@:5: error: read 2 values for variable EFFECT, expected 3.\n"
         "@:6: error: a is not a valid covariate specifier.\n"},
        {"STATUS=1\nGENE=5 4\nGENE=3 1 1\nEFFECT=1 1\nEFFECT=1  +1\n", 1,
         "@:2: warning: columns are not in increasing order, loci are taken in column order.\n"
         "@:3: warning: column 1 is defined more than once.\n"
         "@:5: warning: effect is defined more than once.\n"},
        {"STATUS=1\nGENE=2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18\nEFFECT=1 1\n"
         "GENE=19 20 21 22 23 24 25 26 27 28 29 30 31 32 33 34\n",
         -9999, "@:4: error: more than 32 loci are defined.\n"},
    };
    for (auto const& c : cases) {
        variable v;
        reading const r = read_spec(c.text, v);
        EXPECT_EQ(r.status, c.status) << c.text;
        EXPECT_EQ(r.err, c.err) << c.text;
        v.free();
    }
}

TEST(validate_spec, values) {
    variable v;
    reading const r = read_spec("  my STATUS =4\nGENE=2 3\nGENE=5\nEFFECT=1 -1 1 -1\n"
                                "ENVIRONMENT=6\nENVIRONMENT=8\nMAXFITERATIONS=100\nHW = HWD\n"
                                "MODEL=RECESSIVE\nSAMPLE=combined\nTHRESHOLD=0.05\nTHRESHOLD=.25x\n"
                                "FTOLERANCE=1e-9\nTOLERANCE=0.5\nHEADER=0\nITERATIONS=7 or so",
                                v);
    EXPECT_EQ(r.err, "");
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(v.status_column, 3u);
    ASSERT_EQ(v.n_genes, 2u);
    EXPECT_EQ(v.gene_loci[0], 2u);
    EXPECT_EQ(v.gene_columns[0][1], 2u);
    EXPECT_EQ(v.gene_columns[1][0], 4u);
    ASSERT_EQ(v.n_covariates, 2u);
    EXPECT_EQ(v.covariate_columns[1], 7u);
    EXPECT_EQ(v.effects[0][1], -1);
    EXPECT_EQ(v.frequency_iterations, 100u);
    EXPECT_EQ(v.iterations, 7u);
    EXPECT_EQ(v.hw, 3u);
    EXPECT_EQ(v.model, 2u);
    EXPECT_EQ(v.sample, 2u);
    EXPECT_EQ(v.threshold, 0.25);
    EXPECT_EQ(v.frequency_tolerance, 1e-9);
    EXPECT_EQ(v.tolerance, 0.5);
    EXPECT_EQ(v.header, 1u);
    v.free();
}

TEST(read_file, messages) {
    // Columns: text, status, covariate, two SNPs.
    std::string const head = "ID D AGE A B\n", row = "me 0 1.5 0 1\n";
    struct {
        std::string text;
        int status;
        char const* err;
    } const cases[] = {
        {head + row, 1, ""},
        {head + "\n" + row + "  \n" + row + "\n\n", 1, ""},
        {"ID D AGE A B\r\nme 0 1.5 0 1\r\n\r\nyou 1 2 2 9\r\n", 1, ""},
        {head + "you 1.0 -1e-3 3 -1\nx 0e5 +.5 1.5 2.\n", 1, ""},
        {head + row + "you 1 3 0 1", 1, "@: warning: last line has no newline and is ignored.\n"},
        {"", -9988, "@: error: no data found.\n"},
        {"\n\n  \n", -9988, "@: error: no data found.\n"},
        {head, -9988, "@: error: no data found.\n"},
        {"ID D AGE A B", -9988, "@: error: no data found.\n"},
        {head + "me 0 1 0 1", -9988,
         "@: warning: last line has no newline and is ignored.\n@: error: no data found.\n"},
        {"\n" + head + row, -9989, "@: error: file format does not match defined columns.\n"},
        {"ID D AGE A\n" + row, -9989, "@: error: file format does not match defined columns.\n"},
        {head + row + "\nme 0 1\n", -9989,
         "@:4: error: file format does not match defined columns.\n"},
        {head + "me 0 1 0 x\nme 0 1 0 1 \n", -9990, "@:3: error: invalid file format.\n"},
        {"ID D AGE A B C\n" + row, -9990, "@:2: error: invalid file format.\n"},
        {head + row + "me 2 1 0 1\nme x 1 0 1\n", -9982,
         "@:3: error: invalid data for variable STATUS.\n"},
        {head + "me 1 1,5 0 1\n", -9982, "@:2: error: invalid data for variable ENVIRONMENT.\n"},
        {head + "\nme 1 1 0 0/1\n", -9982, "@:3: error: invalid data for variable GENE.\n"},
    };
    for (auto const& c : cases) {
        scratch files;
        variable v;
        read_spec("STATUS=2\nENVIRONMENT=3\nGENE=4 5\nEFFECT=1 -1\n", v);
        std::string* names = nullptr;
        genotype** genotypes = nullptr;
        unsigned *status = nullptr, n = 0;
        double** covariates = nullptr;
        std::string const path = files.write("d", c.text);
        testing::internal::CaptureStderr();
        EXPECT_EQ(read_file(path, v, names, genotypes, status, covariates, n), c.status) << c.text;
        EXPECT_EQ(unwrapped(testing::internal::GetCapturedStderr()), at_path(c.err, "d")) << c.text;
        EXPECT_EQ(genotypes == nullptr, c.status != 1);
        if (c.status == 1) {
            delete[] genotypes[0];
            delete[] covariates[0];
        }
        delete[] covariates;
        delete[] genotypes;
        delete[] status;
        delete[] names;
        v.free();
    }
}

TEST(read_file, numbers) {
    for (char const* bad :
         {"1abc", "0x1", "nan", "inf", "1e999", "NA", "?", ".", "1e", "--1", "+"}) {
        scratch files;
        files.write("d", std::string("D A\n0 ") + bad + "\n");
        files.write("s", "STATUS=1\nGENE=2\nEFFECT=1\n");
        EXPECT_EQ(unwrapped(run_quilmar(files, "d s").err),
                  "d:2: error: invalid data for variable GENE.\n")
            << bad;
    }
}

TEST(read_file, coding) {
    // Columns out of order: loci are taken in column order, whatever gene they belong to.
    sample s("id B X1 D A X2\nme 2 1.5 1 0 -3\nyou 9 7 0 1 1e2\n",
             "STATUS=4\nGENE=2\nGENE=5\nENVIRONMENT=3 6\nEFFECT=1 -1 -1 -1\n");
    ASSERT_EQ(s.ccg.n_subjects, 2u);
    EXPECT_EQ(s.ccg.genotypes[0]->str(), "20");
    EXPECT_EQ(s.ccg.genotypes[1]->str(), "91");
    EXPECT_EQ(s.ccg.status[0], 1u);
    EXPECT_EQ(s.ccg.status[1], 0u);
    EXPECT_EQ(s.ccg.covariates[0][0], 1.5);
    EXPECT_EQ(s.ccg.covariates[1][1], 100.0);
    EXPECT_EQ(s.ccg.genotypes[1]->n_covariates, 2u);
    // A column named twice gives its value to both; one that is also a SNP is still read.
    sample twice("D A X\n1 2 1.5\n0 1 7\n",
                 "STATUS=1\nGENE=2\nENVIRONMENT=3 2 3\nEFFECT=1 1 1 1\n");
    double const values[] = {2, 1.5, 1.5};
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(twice.ccg.covariates[c][0], values[c]);
    std::string const names[] = {"", "B", "X1", "D", "A", "X2"};
    for (int c = 0; c < 6; ++c)
        EXPECT_EQ(s.labels[c], names[c]);
}
