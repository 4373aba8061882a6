// Attribute::fromText() with any text, for every type: it takes the text or leaves the value alone, and what it took
// getText() returns.
#include <cstdint>
#include <string>

#include "fuzz/Require.h"
#include "ostrel/core/Attribute.h"
#include "ostrel/core/Strings.h"

using namespace ostrel::core;

namespace {

enum class TextForm { NONE, AS_READ, NUMBER, OTHER };

const struct {
    const char* type;
    TextForm form;
} TYPES[] = {
    {typeString(), TextForm::AS_READ},
    {typeSint8(), TextForm::NUMBER},
    {typeSint16(), TextForm::NUMBER},
    {typeSint32(), TextForm::NUMBER},
    {typeSint64(), TextForm::NUMBER},
    {typeUint8(), TextForm::NUMBER},
    {typeUint16(), TextForm::NUMBER},
    {typeUint32(), TextForm::NUMBER},
    {typeUint64(), TextForm::NUMBER},
    {typeUint128(), TextForm::NUMBER},
    {typeUlong(), TextForm::NUMBER},
    {typeDouble(), TextForm::NONE},
    {typeBoolean(), TextForm::OTHER},
    {typeBytepointer(), TextForm::OTHER},
    {typeListUint64(), TextForm::OTHER},
    {typeVectorOfStrings(), TextForm::AS_READ},
    {typeVectorOfPayloads(), TextForm::NONE},
    {typeHexValue(), TextForm::OTHER},
    {"unheardOf", TextForm::NONE},
};

std::string withoutLeadingZeros(const std::string& digits) {
    const size_t first = digits.find_first_not_of('0');
    return first == std::string::npos ? "0" : digits.substr(first);
}

void readAgain(const Attribute& attribute) {
    Attribute again("", "", attribute.getType());
    REQUIRE(succeeded(again.fromText(attribute.getText())));
    REQUIRE(again.getText() == attribute.getText());
}

void tryType(const char* type, TextForm form, const std::string& text) {
    Attribute attribute("", "", type);
    attribute.setValue("old");
    const Status status = attribute.fromText(text);
    if (failed(status)) {
        REQUIRE(status.is(0, 40));
        REQUIRE(attribute.getSize() == 4 && attribute.getValue().at(0) == 'o');
        return;
    }
    if (form == TextForm::AS_READ) REQUIRE(attribute.getText() == text);
    if (form == TextForm::NUMBER && isInteger(text)) REQUIRE(attribute.getText() == withoutLeadingZeros(text));
    if (form != TextForm::NONE) readAgain(attribute);
}

/// Raw bytes as a value, as they come from a device: every type makes some text of them.
void showBytes(const char* type, const std::string& bytes) {
    Attribute attribute("", "", type);
    attribute.setValue(bytes.data(), bytes.size());
    (void)attribute.getText();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    for (const auto& row : TYPES) {
        tryType(row.type, row.form, text);
        showBytes(row.type, text);
    }
    return 0;
}
