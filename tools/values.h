// Values as people write and read them: catalogue names in any case, the
// labels of enumerated values, a number with its unit, and a suggestion
// for a name that is not in the catalogue. The command handlers and any
// other front end (a server) format and parse values only through these.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace svodb_tool {

// The catalogue's spelling of a name typed in any case; none when unknown.
std::optional<std::string> CatalogueName(const std::string& typed);
// "did you mean X?" for the closest catalogue name, or "" when none is close.
std::string DidYouMean(const std::string& typed);
// Every name of the catalogue, in its order.
std::vector<std::string> CatalogueNames();

// The values of an enumerated variable on the current node, by index
// (empty when it has no enumeration).
std::vector<int32_t> EnumeratedValues(const std::string& name);

// Enumerated variables show labels instead of numbers.
bool IsEnumerated(const std::string& name);
// The unit in the current node's unit column; "" for none or a label.
std::string UnitText(const std::string& name);
// The display label of an enumerated value, or none.
std::optional<std::string> LabelOf(const std::string& name, int32_t value);

// A value as the user typed it: a label of an enumerated variable (any
// case, blanks or underscores alike) or a number; an integer variable
// refuses fractions, an enumerated one takes only its values. Sets `problem` and returns
// none when the text is neither.
std::optional<double> ParseValue(const std::string& name, const std::string& text, std::string& problem);
// Why the text cannot be a value of the variable, as far as the catalogue
// tells without the drive (a fraction for an integer variable, a word for
// a variable that has no labels); "" when it may be.
std::string ProblemBeforeTheDrive(const std::string& name, const std::string& text);

// The catalogue lists the variables alphabetically without headings; the
// tool and the panel group them by what a commissioning engineer does with
// them: settings a user tunes, the factory's, and values the drive reports.
inline constexpr const char* kGroups[] = {"User parameters", "Manufacturing settings",
                                          "Status and monitoring"};
const char* GroupOf(const std::string& name);

// A read value as shown: a label, or the number with its unit.
std::string FormatValue(const std::string& name, double value);

}  // namespace svodb_tool
