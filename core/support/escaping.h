// Percent-escaping in four variants that callers must not mix up. Input is
// UTF-8; invalid sequences are repaired (U+FFFD) first. Escapes are "%" and two
// uppercase hex digits per UTF-8 byte.
#pragma once

#include <string>
#include <string_view>

namespace kernova {

// Query values: keeps ASCII letters, digits and - _ . ~; escapes every other byte.
std::string queryEscape(std::string_view text);

// Host set: keeps ASCII letters, digits and ! $ & ' ( ) * + , - . : ; = [ ] _ ~;
// escapes every other byte.
std::string hostSetEscape(std::string_view text);

// Whole URLs (the query-allowed set): keeps ASCII letters, digits and
// ! $ & ' ( ) * + , - . / : ; = ? @ _ ~; escapes every other byte, "%", "#",
// "[", "]" and the blank included, so an escape already in the input is
// escaped again ("%25").
std::string queryAllowedEscape(std::string_view text);

// Search terms: the host set without "&" and "=", so that a term holding
// them (or "?", "/") stays one query value. Keeps ASCII letters, digits and
// ! $ ' ( ) * + , - . : ; [ ] _ ~; escapes every other byte.
std::string searchTermEscape(std::string_view text);

// Form fields: escapes only these 29 characters and keeps everything else:
// ? ! @ # $ ^ & % * + , : ; = ' " ` < > ( ) [ ] { } / \ | and the blank.
std::string urlEncodeStr(std::string_view text);

}  // namespace kernova
