#pragma once

#include "Style.h"

#include <ostream>
#include <string>
#include <vector>

namespace pemo {
namespace client {

/// Rows under a header, each column as wide as its widest cell, two
/// blanks apart; cells may carry colour, which takes no width.
class Table
{
public:
    explicit Table(std::vector<std::string> headers);

    void add(std::vector<std::string> cells);
    bool empty() const { return _rows.empty(); }

    /// The header in bold, then the rows; the last column is not padded.
    void print(std::ostream& out, const Style& style) const;

private:
    std::vector<std::string> _headers;
    std::vector<std::vector<std::string>> _rows;
};

} // namespace client
} // namespace pemo
