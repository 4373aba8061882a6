// The library's side of Job: how a request is interpreted.

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "ostrel/core/XmlConverter.h"
#include "ostrel/interfaces/ostreli/interface/Job.h"
#include "tests/support/FieldOrder.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StatusText.h"
#include "tests/support/VirtualSlots.h"

DESCRIBE_FIELDS(
    JobFields, ostrel::interfaces::ostreli::Job,
    (devices_)(input_)(name_)(notifyEnabled_)(progressCallback_)(progress_)(cancelRequested_)(cancelled_)(state_)(mutex_)(status_)(startTime_)(endTime_))

namespace ostrel::interfaces::ostreli {
namespace {

using core::Attribute;
using core::AttributeList;
using core::Status;
using core::xml::XmlObject;
using Output = std::shared_ptr<XmlObject>;

// A job that notes what it is asked and answers what the test sets.
class NotingJob : public Job {
public:
    explicit NotingJob(std::string name = "Trim") : Job(std::move(name)) {}

    AttributeList getSupportedProperties() const override { return {}; }
    std::unique_ptr<Job> clone() const override {
        auto copy = std::make_unique<NotingJob>(getName());
        copy->copyFrom(*this);
        return copy;
    }
    Status runMethod(const Output& output) override { return note("runMethod", output); }
    Status getProperties(const Output& output) override { return note("getProperties", output); }
    Status setProperty(const AttributeList& requested) override {
        for (const auto& [name, attribute] : requested)
            calls.push_back("setProperty " + name + "=" + attribute.getText());
        return answer;
    }
    Status readRequested(AttributeList& requested) { return getRequestedSetProperties(requested); }

    Status answer{10, 77, "as set"};
    bool writesOutput = false;
    uint32_t stateSeen = 0;
    std::vector<std::string> calls;

private:
    Status note(const char* call, const Output& output) {
        calls.push_back(call);
        stateSeen = getState();
        if (writesOutput) output->addProperty("Result", "1");
        return answer;
    }
};

// A job that leaves everything to the base class.
class PlainJob : public Job {
public:
    PlainJob() : Job("Trim") {}
    AttributeList getSupportedProperties() const override { return {}; }
    std::unique_ptr<Job> clone() const override { return std::make_unique<PlainJob>(); }
};

const std::string SUCCESS = "0/0 Completed successfully.";

std::unique_ptr<XmlObject> request(const std::string& type, const std::string& name = "Trim") {
    auto tree = std::make_unique<XmlObject>();
    tree->attributes["name"] = name;
    tree->attributes["type"] = type;
    return tree;
}

// Devices are only counted by a job, so these need to be no real ones.
std::vector<std::shared_ptr<core::Device>> devices(size_t count) {
    return std::vector<std::shared_ptr<core::Device>>(count);
}

TEST(Job, BeginsCreatedSuccessfulAndUntimed) {
    const NotingJob job;
    EXPECT_EQ(job.getName(), "Trim");
    EXPECT_EQ(job.getState(), 2u);
    EXPECT_EQ(statusText(job.getStatus()), SUCCESS);
    EXPECT_TRUE(job.getStartTime().is_not_a_date_time());
    EXPECT_TRUE(job.getEndTime().is_not_a_date_time());
    EXPECT_EQ(job.getProgress(), 0);
    EXPECT_EQ(job.getInput(), nullptr);
    EXPECT_FALSE(Job::isCancelRequested(&job));
    EXPECT_FALSE(job.isCancelled());
}

TEST(Job, WithoutInputFailsButKeepsTimesAndState) {
    NotingJob job;
    const auto before = boost::posix_time::microsec_clock::universal_time();
    EXPECT_EQ(statusText(job.run(std::make_shared<XmlObject>())), "11/2 No input XML");
    const auto after = boost::posix_time::microsec_clock::universal_time();
    EXPECT_EQ(statusText(job.getStatus()), "11/2 No input XML");
    EXPECT_EQ(job.getState(), 7u);
    EXPECT_LE(before, job.getStartTime());
    EXPECT_LE(job.getStartTime(), job.getEndTime());
    EXPECT_LE(job.getEndTime(), after);
    EXPECT_EQ(job.calls, std::vector<std::string>());
}

constexpr struct {
    const char* name;
    const char* type;
    bool writesOutput;
    const char* status;
    const char* call;
    const char* why;
} RUN_CASES[] = {
    {"Format", "Method", false, "11/3 Invalid job name", "", "another job's request"},
    {"trim", "Method", false, "11/3 Invalid job name", "", "the name's case counts"},
    {"Format", "nonsense", false, "11/3 Invalid job name", "", "the name is looked at before the type"},
    {"Trim", "getproperties", false, "11/5 Invalid method type", "", "the type's case counts"},
    {"Trim", "Parser", false, "11/5 Invalid method type", "", "a word of the vocabulary that no job runs"},
    {"Trim", "", false, "11/5 Invalid method type", "", "no type"},
    {"Trim", "Method", false, "10/77 as set", "runMethod", "the method's own status"},
    {"Trim", "Method", true, "0/0 Completed successfully.", "runMethod", "output is success, whatever the status"},
    {"Trim", "GetProperties", false, "0/0 Completed successfully.", "getProperties", "a get's status is dropped"},
    {"Trim", "GetProperties", true, "0/0 Completed successfully.", "getProperties", "with output too"},
    {"Trim", "SetProperty", false, "10/5 No device selected.", "", "no device"},
};

TEST(Job, RunsWhatTheTypeAsksFor) {
    for (const auto& c : RUN_CASES) {
        NotingJob job;
        job.setInput(*request(c.type, c.name));
        job.writesOutput = c.writesOutput;
        EXPECT_EQ(statusText(job.run(std::make_shared<XmlObject>())), c.status) << c.why;
        EXPECT_EQ(statusText(job.getStatus()), c.status) << c.why;
        EXPECT_EQ(job.calls, *c.call == 0 ? std::vector<std::string>() : std::vector<std::string>{c.call}) << c.why;
        EXPECT_EQ(job.stateSeen, *c.call == 0 ? 0u : 4u) << "running while it runs";
        EXPECT_EQ(job.getState(), 7u);
    }
}

TEST(Job, OutputThatOnlyHasAnAttributeCountsAsOutput) {
    NotingJob job;
    job.setInput(*request("Method"));
    const auto output = std::make_shared<XmlObject>();
    output->attributes["name"] = "Trim";
    EXPECT_EQ(statusText(job.run(output)), SUCCESS);
}

TEST(Job, MethodWithoutAnOutputTreeKeepsItsStatus) {
    NotingJob job;
    job.setInput(*request("Method"));
    EXPECT_EQ(statusText(job.run(nullptr)), "10/77 as set");
}

std::unique_ptr<XmlObject> setRequest(const std::vector<Attribute>& properties) {
    auto tree = request("SetProperty");
    for (const Attribute& property : properties) Job::addRequestedGetProperty(*tree, property);
    return tree;
}

TEST(Job, SetPropertyNeedsExactlyOneDevice) {
    NotingJob job;
    job.setInput(*setRequest({}));
    job.setDevices(devices(2));
    EXPECT_EQ(statusText(job.run(nullptr)), "10/6 Multiple devices selected.") << "before any property is looked at";
    job.setDevices(devices(1));
    EXPECT_EQ(statusText(job.run(nullptr)), "10/38 No properties specified for this feature.");
}

TEST(Job, SetPropertyHandsTheOnePropertyOn) {
    NotingJob job;
    job.setInput(*setRequest({Attribute("Width", "Width", "uint8", static_cast<uint8_t>(5))}));
    job.setDevices(devices(1));
    EXPECT_EQ(statusText(job.run(nullptr)), "10/77 as set");
    EXPECT_EQ(job.calls, std::vector<std::string>{"setProperty Width=5"});
}

TEST(Job, ReadsOfASetRequestExactlyOnePropertyWithAValue) {
    const struct {
        std::vector<Attribute> properties;
        const char* status;
        std::vector<std::string> log;
        size_t kept;
        const char* why;
    } cases[] = {
        {{}, "10/38 No properties specified for this feature.", {"[error] No properties found"}, 0, "none"},
        {{Attribute("A", "", "string", "1"), Attribute("B", "", "string", "2")},
         "10/37 Too many properties specified for this feature.",
         {"[error] Too many properties"},
         2,
         "two"},
        {{Attribute("A", "", "bytepointer")},
         "10/39 No value associated with specified property.",
         {"[error] Property has no value"},
         1,
         "no byte of a value"},
        {{Attribute("A", "", "string")}, SUCCESS.c_str(), {}, 1, "an empty text has its terminator, so it has a value"},
        {{Attribute("A", "", "string", "1"), Attribute("A", "", "string", "2")},
         SUCCESS.c_str(),
         {},
         1,
         "one name twice is one property"},
    };
    for (const auto& c : cases) {
        NotingJob job;
        job.setInput(*setRequest(c.properties));
        AttributeList requested = {{"Old", Attribute("Old", "", "string")}};
        const LogCapture log(core::LOGSEVERITY_INFO);
        EXPECT_EQ(statusText(job.readRequested(requested)), c.status) << c.why;
        EXPECT_EQ(log.list(), c.log) << c.why;
        EXPECT_EQ(requested.size(), c.kept) << c.why << ": the list is replaced, also when it is refused";
        EXPECT_EQ(requested.count("Old"), 0u) << c.why;
    }
}

TEST(Job, ReadsNoPropertyWithoutAnInput) {
    NotingJob job;
    AttributeList requested;
    EXPECT_EQ(statusText(job.readRequested(requested)), "10/38 No properties specified for this feature.");
}

TEST(Job, LogsTypeAndNameOfARequest) {
    NotingJob job;
    job.setInput(*request("Method", "Format"));
    const LogCapture log(core::LOGSEVERITY_TRACE);
    (void)job.run(nullptr);
    std::vector<std::string> lines;
    for (const std::string& line : log.list())
        if (line.find(": Entering") == std::string::npos && line.find(": Exiting") == std::string::npos)
            lines.push_back(line);
    EXPECT_EQ(lines, (std::vector<std::string>{"[debug] Type = Method", "[debug] Method Name = Format"}));
    EXPECT_EQ(log.list().front().substr(0, 16), "[debug] Job.cpp(") << "the trace of run() comes first";
    EXPECT_EQ(log.list().back(), "[debug] Job.cpp run: Exiting");
}

TEST(Job, BaseSupportsNothingAndIsAlwaysReady) {
    PlainJob job;
    const std::string notSupported = "10/34 Feature is not supported.";
    EXPECT_EQ(statusText(job.runMethod(nullptr)), notSupported);
    EXPECT_EQ(statusText(job.getProperties(nullptr)), notSupported);
    EXPECT_EQ(statusText(job.setProperty({})), notSupported);
    EXPECT_TRUE(job.isReady());
}

TEST(Job, InputIsACopy) {
    NotingJob job;
    const auto tree = request("Method");
    job.setInput(*tree);
    tree->attributes["type"] = "other";
    EXPECT_EQ(job.getInput()->getAttribute("type"), "Method");
    job.setInput(*tree);
    EXPECT_EQ(job.getInput()->getAttribute("type"), "other") << "the earlier input is replaced";
}

TEST(Job, CopyTakesStatusInputAndDevices) {
    NotingJob job;
    job.setInput(*request("Method"));
    job.setDevices(devices(3));
    Job::setStatus(&job, Status(10, 5, "x"));
    const auto copy = job.clone();
    EXPECT_EQ(statusText(copy->getStatus()), "10/5 x");
    ASSERT_NE(copy->getInput(), nullptr);
    EXPECT_NE(copy->getInput(), job.getInput());
    EXPECT_EQ(copy->getInput()->toXmlString(), job.getInput()->toXmlString());
    EXPECT_EQ(copy->getDevices().size(), 3u);

    copy->copyFrom(NotingJob());
    EXPECT_NE(copy->getInput(), nullptr) << "a job without an input leaves the other's";
    EXPECT_EQ(copy->getDevices().size(), 0u);
}

TEST(Job, CancellingIsAWishThatCanBeAskedForWithoutAJob) {
    NotingJob job;
    EXPECT_FALSE(Job::isCancelRequested(nullptr));
    job.cancel();
    EXPECT_TRUE(Job::isCancelRequested(&job));
    EXPECT_FALSE(job.isCancelled());
    job.setCancelled(true);
    EXPECT_TRUE(job.isCancelled());
    Job::setStatus(nullptr, Status(10, 5, "x"));  // must not crash
}

struct Progress {
    std::vector<std::pair<uint64_t, std::string>> trees;
};

void noteProgress(void* context, uint64_t identifier, const XmlObject& status) {
    static_cast<Progress*>(context)->trees.emplace_back(identifier, status.toXmlString());
}

TEST(Job, ReportsItsProgressAsATree) {
    NotingJob job;
    Progress progress;
    job.setProgress(5);
    job.setNotifyEnabled(true);
    job.setProgress(10);  // no callback
    job.setCallback(&progress, noteProgress);
    job.setState(9);
    Job::setStatus(&job, Status(10, 5, "No device selected."));
    job.setProgress(37);
    job.setNotifyEnabled(false);
    job.setProgress(50);
    EXPECT_EQ(job.getProgress(), 50);

    const auto address = reinterpret_cast<uintptr_t>(static_cast<Job*>(&job));
    const std::string tree = R"(<?xml version="1.0" encoding="utf-8"?><Object category="Job" identifier=")" +
                             std::to_string(address) +
                             R"(" name="Trim"><Property name="State" value="9"/><Property name="Progress" value="37"/>)"
                             R"(<Object category="status"><Property name="Category" value="10"/>)"
                             R"(<Property name="Code" value="5"/>)"
                             R"(<Property name="Message" value="No device selected."/></Object></Object>)";
    EXPECT_EQ(progress.trees, (std::vector<std::pair<uint64_t, std::string>>{{address, tree}}));
}

// For the thread sanitizer: everything that others may ask for while a job runs.
TEST(Job, CanBeWatchedFromAnotherThreadWhileItRuns) {
    NotingJob job;
    job.setInput(*request("Method"));
    std::atomic<bool> ended{false};
    std::thread watcher([&] {
        do {  // at least once, also where this thread starts late
            job.cancel();
            const std::string status = statusText(job.getStatus());
            EXPECT_TRUE(status == SUCCESS || status == "10/77 as set") << status;
            EXPECT_LE(job.getProgress(), 100);
            EXPECT_LE(job.getState(), 7u);
            (void)job.getStartTime();  // only read: that it can be
            (void)job.getEndTime();
        } while (!ended);
    });
    for (int i = 0; i < 200; ++i) {
        job.setProgress(static_cast<uint8_t>(i % 101));
        (void)job.run(nullptr);  // its status is asked for by the watcher
    }
    ended = true;
    watcher.join();
    EXPECT_TRUE(Job::isCancelRequested(&job));
}

struct NextSlot : Job {
    virtual void next();
};

// The library is built against this order.
TEST(Job, VirtualOperationsKeepTheirSlots) {
    EXPECT_EQ(virtualSlot(&Job::run), 2u);  // after the two of the destructor
    EXPECT_EQ(virtualSlot(&Job::getSupportedProperties), 3u);
    EXPECT_EQ(virtualSlot(&Job::clone), 4u);
    EXPECT_EQ(virtualSlot(&Job::isReady), 5u);
    EXPECT_EQ(virtualSlot(&Job::copyFrom), 6u);
    EXPECT_EQ(virtualSlot(&Job::runMethod), 7u);
    EXPECT_EQ(virtualSlot(&Job::getProperties), 8u);
    EXPECT_EQ(virtualSlot(&Job::setProperty), 9u);
    EXPECT_EQ(virtualSlot(&NextSlot::next), 10u);
}

TEST(Job, FieldsKeepTheirOrder) {
    EXPECT_TRUE(areInOrder(fieldOffsets(JobFields())));
}

}  // namespace
}  // namespace ostrel::interfaces::ostreli
