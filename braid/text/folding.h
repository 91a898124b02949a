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

/// What a file system takes for one and the same name. Case is folded one to one: names that it folds in no other way
/// than this it may still keep apart, and the other way round.
struct NameFolding {
    bool foldsCase = false;
    bool foldsForm = false; ///< Composed and decomposed characters are the same.
    bool keepsCase = true;  ///< Lists a name as it was given; false: it has a case of its own.
    bool dropsEnds = false; ///< Takes no notice of dots and blanks at the end.

    bool folds() const { return foldsCase || foldsForm || dropsEnds; }
};

/// Equal for two names that such a file system takes for the same.
std::string foldName(std::string_view name, const NameFolding& folding);

/// Without dots and blanks at the end, unless there is nothing else.
std::string_view withoutEnd(std::string_view name);

/// With composed characters, as people's keyboards make them.
std::string composed(std::string_view name);

/// UTF-16 for the regular-expression engine, into `units` (whose memory is used again); a byte outside UTF-8 becomes a
/// lone surrogate, which no name contains.
void toUtf16(std::string_view bytes, std::u16string& units);

/// For programs: a byte outside UTF-8 is written as "\xNN".
std::string utf8(std::string_view bytes);

/// For people: so is a control character, by which a name could do as it likes with a terminal.
std::string printable(std::string_view bytes);

} // namespace braid::text
