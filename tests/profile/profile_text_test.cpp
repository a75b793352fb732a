#include "profile/profile_text.h"

#include "base/text.h"
#include "support/failing_call.h"
#include "support/temp_directory.h"

namespace {

using namespace tivar;

std::string cleaned(const char* text, int32_t mask) {
    ProfileLine line = {};
    copyBounded(line.text, sizeof line.text, text);
    return CleanLine(line, mask).text;
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

TEST(SectionName, IsCleanedWhateverItsLength) {
    const std::string name(1000, 's');
    EXPECT_EQ(SectionName((" [" + name + "] ; x").c_str()).text(), name);
    EXPECT_STREQ(SectionName("").text(), "");
    const support::FailingCall noMemory("calloc");
    EXPECT_FALSE(SectionName("s"));
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
    const SectionName wanted("[\"Tivar\"]");
    const struct {
        ProfileLine line;
        bool expected;
    } cases[] = {{{"[ tivar ]", 9}, true},
                 {{"TIVAR ; x", 9}, true},
                 {{"[tivar2]", 8}, false},
                 {{"[ti var]", 8}, false}};
    for (const auto& c : cases) EXPECT_EQ(namesSection(c.line, wanted), c.expected) << c.line.text;
    EXPECT_FALSE(namesSection({"[]", 2}, SectionName(" ")));
}

}  // namespace
