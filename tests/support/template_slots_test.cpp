#include "support/template_slots.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/escaping.h"

namespace kernova {
namespace {

TEST(TemplateSlots, FilledInOnePassWithTheCallersEscaping) {
    struct Row {
        const char* templ;
        std::vector<std::string> picks;
        const char* filled;
    };
    const Row rows[] = {
        {"q={1}+{2}&all={all}", {"a b", "c&d"}, "q=a%20b+c%26d&all=x%20y"},
        {"{2}{1}{2}", {"a", "b"}, "bab"},
        {"{1}-{2}-{3}", {"only"}, "only--"},
        {"{1}", {"a", "b", "c"}, "a"},
        {"{1}", {"{2}"}, "%7B2%7D"},
        {"%s {0} {01} {x} {} { {12 {all", {"a"}, "%s {0} {01} {x} {} { {12 {all"},
        {"[{99999999999999999999}]", {"a"}, "[]"},
        {"", {"a"}, ""},
    };
    for (const Row& row : rows)
        EXPECT_EQ(fillTemplateSlots(row.templ, row.picks, "x y", queryEscape), row.filled)
            << row.templ;
    EXPECT_EQ(fillTemplateSlots("{1}/{all}", {"a b"}, "c d", {}), "a b/c d") << "no escaping";
}

}  // namespace
}  // namespace kernova
