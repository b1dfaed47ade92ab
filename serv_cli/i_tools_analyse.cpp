#include "serv_cli/i_tools_analyse.h"

#include <memory>

#include "serv_cli/i_tools_text.h"
#include "util/i_charstr.h"
#include "util/i_trace.h"

namespace {

constexpr unsigned char kDefaultSeparator = '\t';
constexpr short kDefaultFold = 1;

/// The pieces of a row text, and what makes a heap text of each.
class Fields {
  public:
    Fields(unsigned char separator, short fold, const char* row_text)
        : fold_(fold), fields_(CharString(row_text).split(count_, static_cast<char>(separator))) {}

    short count() const { return count_; }

    void copyTo(char** destination, short index) const {
        duplicate_(destination, fields_[static_cast<std::size_t>(index)].c_str());
        if (fold_) lower_string(*destination);
    }

  private:
    short fold_;
    short count_ = 0;
    std::unique_ptr<CharString[]> fields_;
};

/// Whether there is a text to analyse; a public form and its `Do_` form both tell of a null one.
bool isGiven(const char* row_text, const char* report) {
    if (!row_text) traceTexts(report);
    return row_text;
}

}  // namespace

short Do_Analyse_Text_by_new(unsigned char separator, short fold, const char* RowText,
                             TokenHandler handler, void* user) {
    if (!isGiven(RowText, "Do_Analyse_Text_by_new RowText NULL")) return 1;
    const Fields fields(separator, fold, RowText);
    short going = 1;
    for (short index = 0; index < fields.count() && going; ++index) {
        char* field;
        fields.copyTo(&field, index);
        going = handler(index, field, user);
        release_(&field);
    }
    return going != 0;
}

short Analyse_Text_by_new(const char* RowText, TokenHandler handler, void* user) {
    isGiven(RowText, "Analyse_Text_by_new RowText NULL");
    Do_Analyse_Text_by_new(kDefaultSeparator, kDefaultFold, RowText, handler, user);
    return 1;
}

short Analyse_Text_by_new_(unsigned char separator, short fold, const char* RowText,
                           TokenHandler handler, void* user) {
    isGiven(RowText, "Analyse_Text_by_new_ RowText NULL");
    Do_Analyse_Text_by_new(separator, fold, RowText, handler, user);
    return 1;
}

short Do_Analyse_Text_Velsa_by_new(unsigned char separator, short fold, const char* RowText,
                                   std::int32_t count, va_list variables) {
    if (!isGiven(RowText, "Do_Analyse_Text_Velsa_by_new RowText NULL")) return 1;
    const Fields fields(separator, fold, RowText);
    if (fields.count() < count) return 1;
    for (std::int32_t index = 0; index < count; ++index) {
        char** const variable = va_arg(variables, char**);
        if (!variable) return 0;
        fields.copyTo(variable, static_cast<short>(index));
    }
    return 1;
}

short Analyse_Text_Velsa_by_new(const char* RowText, std::int32_t count, ...) {
    isGiven(RowText, "Analyse_Text_Velsa_by_new RowText NULL");
    va_list variables;
    va_start(variables, count);
    Do_Analyse_Text_Velsa_by_new(kDefaultSeparator, kDefaultFold, RowText, count, variables);
    va_end(variables);
    return 1;
}

short Analyse_Text_Velsa_by_new_(unsigned char separator, short fold, const char* RowText,
                                 std::int32_t count, ...) {
    isGiven(RowText, "Analyse_Text_Velsa_by_new_ RowText NULL");
    va_list variables;
    va_start(variables, count);
    Do_Analyse_Text_Velsa_by_new(separator, fold, RowText, count, variables);
    va_end(variables);
    return 1;
}
