// Texts from files and from people, and the sentences that are made of them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// The text without the blanks around it, which XML means nothing by.
std::string_view trimmed(std::string_view text);

// The text on one line of a terminal, as UTF-8: what a foreign file may hold to play tricks,
// control characters and those that turn the direction of writing, becomes blanks.
std::string printable(std::string_view text);

// At most so many characters of a text in UTF-8; the last is an ellipsis when there are more.
std::string shortened(std::string_view text, std::size_t width);

// A foreign text for a sentence: printable, in quotes, and cut when it is too long to be read.
std::string inQuotes(std::string_view text);

// What is said to somebody at a terminal, whatever texts it was made of: printable, and not so long
// that nobody reads it.
std::string sentence(std::string_view text);

// The words with the separator between them.
std::string joined(const std::vector<std::string_view>& words, std::string_view separator);

// Letters of ASCII, digits and underscores, no digit first: a name of C, which Java takes as well.
bool isIdentifier(std::string_view text);

// "1 input", "2 inputs".
std::string counted(long long count, const std::string& noun);
