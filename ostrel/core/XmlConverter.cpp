#include "ostrel/core/XmlConverter.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <exception>
#include <iterator>
#include <type_traits>
#include <utility>

#include "ostrel/core/Logging.h"
#include "ostrel/core/ScopeTrace.h"
#include "ostrel/core/Status.h"
#include "ostrel/core/Strings.h"
#include "ostrel/core/xml/XmlReader.h"

namespace ostrel::core {

using namespace xml;

namespace {

/// Of a property that carries an attribute, in the order of their bytes.
constexpr const char* PROPERTY_KEYS[] = {KEY_CATEGORY, KEY_DESCRIPTION, KEY_DISPLAY_NAME, KEY_NAME,
                                         KEY_SIZE,     KEY_TYPE,        KEY_VALUE};
constexpr std::size_t ATTRIBUTES_OF_PROPERTY = std::size(PROPERTY_KEYS);
enum PropertyKey : std::size_t { CATEGORY, DESCRIPTION, DISPLAY_NAME, NAME, SIZE, TYPE, VALUE };

/// The values of a property under PROPERTY_KEYS; those that it lacks are there then, and empty.
std::array<const std::string*, ATTRIBUTES_OF_PROPERTY> valuesOf(XmlProperty& property) {
    OSTREL_TRACE();
    auto& attributes = property.attributes;
    // Both are in one order. What is inserted moves what follows it alone.
    std::array<std::size_t, ATTRIBUTES_OF_PROPERTY> places{};
    std::size_t at = 0;
    for (std::size_t i = 0; i < ATTRIBUTES_OF_PROPERTY; ++i) {
        int order = 1;
        while (at < attributes.size() && (order = attributes.nth(at)->first.compare(PROPERTY_KEYS[i])) < 0) ++at;
        if (at == attributes.size() || order != 0)
            attributes.emplace_hint(attributes.nth(at), PROPERTY_KEYS[i], std::string());
        places[i] = at++;
    }
    std::array<const std::string*, ATTRIBUTES_OF_PROPERTY> values{};
    for (std::size_t i = 0; i < ATTRIBUTES_OF_PROPERTY; ++i) values[i] = &attributes.nth(places[i])->second;
    return values;
}

void setBoolean(Attribute& attribute, const std::string& text) {
    OSTREL_TRACE();
    attribute.setValue(toBoolean(text));
}

// Read at the full width and then cut: 256 as a uint8 is 0, not the nearest number that fits.
template <typename Number>
void setNumber(Attribute& attribute, const std::string& text) {
    OSTREL_TRACE();
    using Wide = std::conditional_t<std::is_signed_v<Number>, int64_t, uint64_t>;
    attribute.setValue(static_cast<Number>(toNumber<Wide>(text)));
}

void setText(Attribute& attribute, const std::string& text) {
    OSTREL_TRACE();
    attribute.setValue(text);
}

void setBytes(Attribute& attribute, const std::string& text) {
    OSTREL_TRACE();
    attribute.setValue(hexToBytes(text, ""));
}

void setHexValue(Attribute& attribute, const std::string& text) {
    OSTREL_TRACE();
    constexpr const char* PREFIX = "0x";
    std::string digits = text;
    replaceAll(digits, PREFIX, "");
    if (toNumber<uint64_t>(digits) == 0)
        attribute.setValue(uint8_t{0});
    else
        attribute.setValue(hexToBytes(text, PREFIX));
}

// The types that are read. The others are written, but no reader of the format takes them.
constexpr struct {
    const char* type;
    void (*setValue)(Attribute& attribute, const std::string& text);
} READABLE_TYPES[] = {
    {typeBoolean(), setBoolean},
    {typeSint16(), setNumber<int16_t>},
    {typeSint32(), setNumber<int32_t>},
    {typeSint64(), setNumber<int64_t>},
    {typeString(), setText},
    {typeUint8(), setNumber<uint8_t>},
    {typeUint16(), setNumber<uint16_t>},
    {typeUint32(), setNumber<uint32_t>},
    {typeUint64(), setNumber<uint64_t>},
    {typeBytepointer(), setBytes},
    {typeListUint64(), setBytes},
    {typeVectorOfStrings(), setText},
    {typeHexValue(), setHexValue},
};

}  // namespace

std::unique_ptr<XmlElement> XmlConverter::toXml(const std::string& xmlText) {
    OSTREL_TRACE();
    try {
        return readElement(xmlText);
    } catch (const std::exception&) {  // the text is all there is to know of it: the reader only names a line
        logMessage(LOGSEVERITY_ERROR, "Unable to convert the given xml string to an XmlElement");
        logMessage(LOGSEVERITY_ERROR, xmlText);
        return nullptr;
    }
}

std::unique_ptr<XmlElement> XmlConverter::toXml(std::string&& xmlText) {
    OSTREL_TRACE();
    // A text that cannot be read goes to the log, and so it must still be there.
    if (isLoggingEnabled()) return toXml(static_cast<const std::string&>(xmlText));
    try {
        return readElement(std::move(xmlText));
    } catch (const std::exception&) {
        return nullptr;
    }
}

std::unique_ptr<XmlProperty> XmlConverter::attributeToXml(const Attribute& attribute) {
    OSTREL_TRACE();
    auto property = std::make_unique<XmlProperty>();
    // In the order of the keys: each belongs at the end, and none is looked up. Most of a message is made here.
    auto& values = property->attributes;
    values.reserve(ATTRIBUTES_OF_PROPERTY);
    values.emplace_hint(values.end(), KEY_CATEGORY, CATEGORY_ATTRIBUTE);
    if (!attribute.getDescription().empty())
        values.emplace_hint(values.end(), KEY_DESCRIPTION, attribute.getDescription());
    values.emplace_hint(values.end(), KEY_DISPLAY_NAME, attribute.getDisplayName());
    values.emplace_hint(values.end(), KEY_NAME, attribute.getName());
    values.emplace_hint(values.end(), KEY_SIZE, numberToText(attribute.getSize()));
    values.emplace_hint(values.end(), KEY_TYPE, attribute.getType());
    values.emplace_hint(values.end(), KEY_VALUE, attribute.getText());
    return property;
}

std::unique_ptr<XmlProperty> XmlConverter::payloadToXml(const Payload& payload) {
    OSTREL_TRACE();
    auto property = std::make_unique<XmlProperty>();
    property->attributes[KEY_CATEGORY] = CATEGORY_PAYLOAD;
    property->attributes[KEY_TYPE] = typeBytepointer();
    property->attributes[KEY_DISPLAY_NAME] = CATEGORY_PAYLOAD;
    property->attributes[KEY_NAME] = CATEGORY_PAYLOAD;
    property->attributes[KEY_VALUE] = bytesToHex(payload.getData(), payload.getSize());
    property->attributes[KEY_SIZE] = numberToText(payload.getSize());
    return property;
}

std::unique_ptr<XmlObject> XmlConverter::attributeListToXml(const AttributeList& attributes) {
    OSTREL_TRACE();
    auto object = std::make_unique<XmlObject>();
    object->attributes[KEY_CATEGORY] = CATEGORY_ATTRIBUTE_LIST;
    for (const auto& [name, attribute] : attributes) object->properties.push_back(attributeToXml(attribute));
    return object;
}

void XmlConverter::addVerbatimProperty(XmlObject& object, const std::string& name, const std::string& value) {
    OSTREL_TRACE();
    auto property = std::make_unique<XmlProperty>();
    property->attributes[KEY_NAME] = name;
    property->attributes[KEY_VALUE] = value;
    object.properties.push_back(std::move(property));
}

std::unique_ptr<XmlObject> XmlConverter::statusToXml(const Status& status) {
    OSTREL_TRACE();
    auto object = std::make_unique<XmlObject>();
    object->attributes[KEY_CATEGORY] = CATEGORY_STATUS;
    addVerbatimProperty(*object, "Category", numberToText(status.getCategory()));
    addVerbatimProperty(*object, "Code", numberToText(status.getCode()));
    addVerbatimProperty(*object, "Message", status.getMessage());
    return object;
}

std::unique_ptr<Attribute> XmlConverter::xmlToAttribute(XmlProperty& xmlProperty) {
    OSTREL_TRACE();
    const auto values = valuesOf(xmlProperty);
    if (*values[CATEGORY] != CATEGORY_ATTRIBUTE) return nullptr;
    const std::string& type = *values[TYPE];

    const auto readable = std::find_if(std::begin(READABLE_TYPES), std::end(READABLE_TYPES),
                                       [&type](const auto& row) { return row.type == type; });
    if (readable == std::end(READABLE_TYPES)) return nullptr;
    auto attribute = std::make_unique<Attribute>(*values[NAME], *values[DISPLAY_NAME], type);
    readable->setValue(*attribute, *values[VALUE]);
    attribute->setDescription(*values[DESCRIPTION]);
    return attribute;
}

std::unique_ptr<AttributeList> XmlConverter::xmlToAttributeList(XmlObject& xmlObject) {
    OSTREL_TRACE();
    auto attributes = std::make_unique<AttributeList>();
    for (const auto& property : xmlObject.properties) {
        auto attribute = xmlToAttribute(*property);
        if (attribute) attributes->insert_or_assign(attribute->getName(), std::move(*attribute));
    }
    return attributes;
}

std::vector<std::unique_ptr<AttributeList>> XmlConverter::xmlToAttributeLists(XmlList& xmlList) {
    OSTREL_TRACE();
    std::vector<std::unique_ptr<AttributeList>> lists;
    lists.reserve(xmlList.objects.size());
    for (const auto& object : xmlList.objects) lists.push_back(xmlToAttributeList(*object));
    return lists;
}

}  // namespace ostrel::core
