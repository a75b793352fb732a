#include "profile/profile_text.h"

#include "support/temp_directory.h"

namespace {

using namespace tivar;

std::string cleaned(const std::string& text, int32_t mask) {
    return CleanText(text.c_str(), mask).text;
}

TEST(CleanLine, RemovesWhatTheMaskDoesNotKeep) {
    const struct {
        const char* line;
        const char* header;    // mask 0
        const char* brackets;  // mask 1
        const char* quotes;    // mask 4
        const char* entry;     // mask 5
    } cases[] = {
        {"[ tivar ]", "tivar", "[ tivar ]", "tivar", "[ tivar ]"},
        {"a=\"b\"", "a=b", "a=b", "a=\"b\"", "a=\"b\""},
        {"\"[x]\"", "x", "[x]", "\"x\"", "\"[x]\""},
        {"a\r\nb\r", "ab", "ab", "ab", "ab"},
        {"  a b  ", "a b", "a b", "a b", "a b"},
        {"a ; b ; c", "a", "a", "a", "a"},
        {";a", "", "", "", ""},
        {"\ta\t", "\ta\t", "\ta\t", "\ta\t", "\ta\t"},
        // What is removed first does not keep blanks from the line's ends.
        {"[ a ]\r", "a", "[ a ]", "a", "[ a ]"},
        // A doubled quote leaves one whatever the mask.
        {"a\"\"b", "a\"b", "a\"b", "a\"b", "a\"b"},
        {"\"\"\"", "\"", "\"", "\"\"", "\"\""},
        {"\"\"\"\"", "\"\"", "\"\"", "\"\"", "\"\""},
        {"", "", "", "", ""},
        {"   ", "", "", "", ""},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(cleaned(c.line, kCleanHeader), c.header) << c.line;
        EXPECT_EQ(cleaned(c.line, kKeepBrackets), c.brackets) << c.line;
        EXPECT_EQ(cleaned(c.line, kKeepQuotes), c.quotes) << c.line;
        EXPECT_EQ(cleaned(c.line, kCleanEntry), c.entry) << c.line;
    }
}

TEST(CleanLine, ALongNameIsCutToALine) {
    EXPECT_EQ(cleaned(std::string(1000, 's'), kCleanHeader), std::string(256, 's'));
}

TEST(TrimText, CutsTheCommentAndStripsBlanks) {
    char text[] = "  key = 1  ; comment ";
    trimText(text);
    EXPECT_STREQ(text, "key = 1");
}

TEST(ReadProfileLine, StopsAtTheEndOfTheFile) {
    const support::TempDirectory directory;
    const std::string path =
        directory.write("p.ini", "[A]\r\n" + std::string(300, 'x') + "\n\nno ending");
    const OxlStream stream = oxlOpen(path.c_str(), nullptr, OXL_READ);
    ProfileLine line;
    const struct {
        std::string text;
        bool section;
    } expected[] = {
        {"[A]", true}, {std::string(256, 'x'), false}, {std::string(44, 'x'), false}, {"", false}};
    for (const auto& e : expected) {
        ASSERT_TRUE(readProfileLine(stream, line));
        EXPECT_EQ(line.text, e.text);
        EXPECT_EQ(line.length, static_cast<int32_t>(e.text.size()));
        EXPECT_EQ(startsSection(line), e.section);
    }
    EXPECT_FALSE(readProfileLine(stream, line));
    oxlClose(stream);
}

TEST(NamesSection, ComparesCleanedTextWithoutRegardToCase) {
    const CleanText wanted("[\"Tivar\"]", kCleanHeader);
    const struct {
        ProfileLine line;
        bool expected;
    } cases[] = {{{"[ tivar ]", 9}, true},
                 {{"TIVAR ; x", 9}, true},
                 {{"[tivar2]", 8}, false},
                 {{"[ti var]", 8}, false}};
    for (const auto& c : cases) EXPECT_EQ(namesSection(c.line, wanted), c.expected) << c.line.text;
}

}  // namespace
