#pragma once

#include <string>
#include <string_view>
#include <vector>

/// File names as text. A byte that belongs to no UTF-8 character stands for itself and equals only itself.
namespace braid::text
{

/// `bytes` with Unicode's full case folding, into `folded` (whose memory is used again).
void foldCase(std::string_view bytes, std::string& folded);

/// One number for each character, folded one to one; a byte outside UTF-8 gets a number above Unicode's.
void foldCharacters(std::string_view bytes, std::vector<char32_t>& characters);

/// UTF-16 for the regular-expression engine, into `units` (whose memory is used again); a byte outside UTF-8 becomes a
/// lone surrogate, which no name contains.
void toUtf16(std::string_view bytes, std::u16string& units);

/// UTF-8 for people and for JSON: a byte outside UTF-8 is written as "\xNN".
std::string printable(std::string_view bytes);

} // namespace braid::text
