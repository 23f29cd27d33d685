// Names and messages of the per-bin columns, and the checks every column writer makes first.
#include "stats/bin_columns.hpp"

#include <orvik/osta.h>

#include "core/guard.hpp"
#include "stats/report.hpp"

namespace orvik::stats {

using orvik::core::SetError;

const BinColumn kHistogramColumn = {L"Histogram",
                                    ODSC_COLUMN_REAL,
                                    L"Invalid starting bin for histogram:  %d",
                                    L"Non-positive number of bins requested from histogram:  %d",
                                    L"Could not open histogram column of table",
                                    L"Could not create histogram column of table",
                                    L"Could not write histogram data to table",
                                    L"Could not close histogram column of table",
                                    L"Histogram column, '%s', has the wrong data type!"};

const BinColumn kColorColumn = {L"Red",
                                ODSC_COLUMN_REAL,
                                L"Invalid starting bin for color table:  %d",
                                L"Negative number of bins requested from color table:  %d",
                                L"Could not open color table column \"%s\" of table",
                                L"Could not create color table column \"%s\" of table",
                                L"Could not write color table data to table",
                                L"Could not close color table column of table",
                                nullptr};

const BinColumn kContrastColumn = {L"Contrast",
                                   ODSC_COLUMN_REAL,
                                   L"Invalid starting bin for contrast table:  %d",
                                   L"Negative number of bins requested from contrast table:  %d",
                                   L"Could not open contrast table column \"%s\" of table",
                                   L"Could not create contrast table column \"%s\" of table",
                                   L"Could not write contrast table data to table",
                                   L"Could not close contrast table column of table",
                                   nullptr};

const BinColumn kClassNamesColumn = {
    L"Class_Names",
    ODSC_COLUMN_STRING,
    L"Invalid starting bin for class names table:  %d",
    L"Negative number of bins requested from class names table:  %d",
    L"Could not open class names column of table",
    L"Could not create class names column of table",
    L"Could not write class names data to table",
    L"Could not close class names column of table",
    L"Class column, '%s', has the wrong data type!"};

const wchar_t *const kIntegerHistogramWarning =
    L"Histogram column is integer instead of real; some data will be truncated";

int32_t ResolveBinRows(const BinColumn &column, const wchar_t *function, int32_t startBin,
                       int32_t nBins, int32_t rowCount, Oerr_ErrorReport **err) {
    if (startBin < 0) {
        SetError(err, function, kColumnBadStart, nullptr, column.badStart, long{startBin});
        return -1;
    }
    if (nBins == 0 || nBins < -1) {
        SetError(err, function, kColumnBadCount, nullptr, column.badCount, long{nBins});
        return -1;
    }
    if (nBins > 0) return nBins;
    const int32_t rest = rowCount - startBin;
    if (rest < 1) {
        SetError(err, function, kColumnBadCount, nullptr, column.badCount, long{rest});
        return -1;
    }
    return rest;
}

const wchar_t *ColorColumnName(int32_t component, bool opacityExists, bool overlayExists) {
    switch (component) {
    case OSTA_RED:
        return L"Red";
    case OSTA_GREEN:
        return L"Green";
    case OSTA_BLUE:
        return L"Blue";
    case OSTA_OPACITY:
        return !opacityExists && overlayExists ? L"Overlay" : L"Opacity";
    default:
        return nullptr;
    }
}

} // namespace orvik::stats
