#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace cli::framework {

/// The output formats. The numbers select the operation in ResultBase::output().
enum OutputType : std::uint32_t {
    OUTPUTTYPE_TEXT = 0,
    OUTPUTTYPE_XML = 1,         ///< the tool's own XML, keyword "nvmxml"
    OUTPUTTYPE_ESX_XML = 2,     ///< the XML of the ESX command shell, keyword "esx"
    OUTPUTTYPE_TEXT_TABLE = 3,  ///< has no keyword: only setOutputType() selects it
    OUTPUTTYPE_JSON = 4,
    OUTPUTTYPE_CSV = 5,
};

/// What a command ends in, whatever went wrong or right: an exit status and something that renders to one string.
/// A result never prints; the caller writes what output() returns and adds the closing line end.
///
/// Ownership: handed upwards as std::unique_ptr<ResultBase> and deleted through this base.
/// Errors:    rendering does not fail; what the allocation throws passes through.
/// Threads:   the main thread only.
class ResultBase {
public:
    // The order of the virtual operations is binary interface: new ones go last.
    virtual ~ResultBase() = default;
    virtual std::string outputText() const = 0;
    virtual std::string outputXml() const = 0;
    virtual std::string outputEsxXml() const = 0;
    /// As outputText(), unless a class has a table of its own.
    virtual std::string outputTextTable() const;
    virtual std::string outputJson() const = 0;
    virtual std::string outputCSV() const = 0;

    /// Renders in the chosen output type; a type outside the enumeration gives the empty string.
    std::string output() const;

    /// The exit status of the process.
    std::int32_t getErrorCode() const { return errorCode_; }
    void setErrorCode(std::int32_t errorCode);
    OutputType getOutputType() const { return outputType_; }
    void setOutputType(OutputType type);

    /// Takes the output type from the "-output" entry of a command's options (option name to value). The keyword's
    /// case does not matter. False, and nothing changed, when the option is there with an unknown or empty value.
    bool setOutputOption(const std::map<std::string, std::string>& options);

private:
    std::int32_t errorCode_ = 0;
    OutputType outputType_ = OUTPUTTYPE_TEXT;
};

/// printf into a string. Every message of the results with a placeholder is made with it.
std::string formatString(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace cli::framework
