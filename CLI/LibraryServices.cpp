#include "CLI/LibraryServices.h"

#include "CLI/FeatureLibraryBinding.h"
#include "CLI/cli_system/ConfigurationFile.h"
#include "CLI/cli_system/Settings.h"

namespace cli::velkossd {
namespace {

using ostrel::core::xml::XmlElement;
using ostrel::core::xml::XmlObject;

class LibraryServices : public FeatureServices {
public:
    FlowResult takeLoadError() override { return FeatureLibraryBinding::getInstance().takeLoadError(); }

    void disableLoggerIfOff() override { FeatureLibraryBinding::getInstance().disableLoggerIfOff(); }

    std::string getAdditionalModuleDirectory() override {
        return system::getSetting(system::getConfiguration(), system::SETTING_ADDITIONAL_FW_MOD_DIR);
    }

    FlowResult sendRequest(const XmlObject& request, std::unique_ptr<XmlElement>& response,
                           ostrel::core::Status& status) override {
        return FeatureLibraryBinding::getInstance().sendRequest(request, response, status);
    }
};

}  // namespace

FeatureServices& libraryServices() {
    static LibraryServices services;
    return services;
}

}  // namespace cli::velkossd
