// The settings form's replies, its lock, and every field validator.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>
#include <json/json.h>

#include <arx/form_handler.h>
#include <arx/form_validator.h>

#include "testing/child_process.h"
#include "testing/json_text.h"
#include "testing/temp_root.h"

namespace {

using Values = std::vector<std::pair<std::string, bool>>;

TEST(FieldValidatorTest, ValidInvalidAndBoundaryValues)
{
    struct Row {
        const char* description;
        std::shared_ptr<FieldValidator> rule;
        Values values;
    };
    const Row rows[] = {
        {"text of 1 to 5 bytes", std::make_shared<TextFieldValidator>("t", false, 5),
         {{"", false}, {"a", true}, {"abcde", true}, {"abcdef", false}, {"\xC3\xA9\xC3\xA9", true},
          {"\xC3\xA9\xC3\xA9\xC3\xA9", false}}},
        {"any text", std::make_shared<TextFieldValidator>("t", true, 0), {{"", true}, {std::string(9999, 'x'), true}}},
        {"a port", std::make_shared<NumberFieldValidator>("n", 1, 65535),
         {{"0", false}, {"1", true}, {"65535", true}, {"65536", false}, {"12x", false}, {"", false}, {" 42", true},
          {"+7", true}, {"-1", false}, {"4294967297", false}, {"99999999999999999999", false}}},
        {"a range holding 0", std::make_shared<NumberFieldValidator>("n", -5, 5),
         {{"", true}, {"-5", true}, {"-6", false}, {"0x5", false}}},
        {"an IPv4 address", std::make_shared<IPV4Validator>("ip", false),
         {{"192.168.1.1", true}, {"127.1", true}, {"256.1.1.1", false}, {"", false}, {"a.b.c.d", false}}},
        {"an IPv4 mask", std::make_shared<IPV4Validator>("mask", true),
         {{"255.255.255.0", true}, {"0.0.0.0", true}, {"255.255.255.255", true}, {"255.0.255.0", false},
          {"255.255.255", false}, {"255.255.255.0.0", false}, {"", false}, {"255.255.254.1", false}}},
        {"a date", std::make_shared<DateTimeValidator>("d", nullptr),
         {{"2020/01/31", true}, {"2020/01/31 10:00", false}, {"2020-01-31", false}, {"2020/13/01", false}}},
        {"a time", std::make_shared<DateTimeValidator>("d", "%H:%M"), {{"23:59", true}, {"24:00", false}}},
        {"one of a and b", std::make_shared<StringListValidator>("s", std::vector<std::string>{"a", "b"}),
         {{"a", true}, {"A", false}, {"", false}, {"ab", false}}},
        {"one of 1 and 3", std::make_shared<IntegerListValidator>("i", std::vector<int>{1, 3}),
         {{"3", true}, {"2", false}, {"", false}, {" 1", true}, {"1.0", false}, {"4294967297", false}}},
    };
    for (const Row& row : rows) {
        for (const auto& [value, valid] : row.values)
            EXPECT_EQ(row.rule->Validate(value), valid) << row.description << ": \"" << value << "\"";
    }
    TextFieldValidator text("t", false, 3);
    EXPECT_EQ(text.GetInvalidErrKey(), FieldValidator::kDefaultInvalidKey);
    text.Validate("long");
    EXPECT_EQ(text.GetInvalidErrKey(), "error_field_too_long");
    EXPECT_EQ(NumberFieldValidator("n", 0, 1).GetInvalidErrKey(), "_vorn_invalid_defalut_key");
}

// A form whose actions are the row's; the session check is the request
// context's own (tested there) and passes here.
class TestForm : public ServerFormHandler {
public:
    TestForm(const char* lockFile, std::function<bool(TestForm&)> action)
        : ServerFormHandler(lockFile), action_(std::move(action))
    {
    }
    bool Load() override { return action_(*this); }
    bool Apply() override { return action_(*this); }
    bool Authenticate() override { return true; }

private:
    std::function<bool(TestForm&)> action_;
};

// The rows' form of three fields: success when they are valid.
bool ApplyFields(TestForm& form)
{
    FormValidator fields(false);
    fields.AddTextField("name", 5, false);
    fields.AddNumberField("port", 1, 65535);
    const char* zones[] = {"UTC", "Europe/Berlin"};
    fields.AddStringList("zone", zones, 2);
    const bool valid = fields.Validate(form);
    valid ? form.ReportSuccess(Json::Value(Json::objectValue)) : form.ReportError();
    return valid;
}

// An action that records errors, reports them and fails.
std::function<bool(TestForm&)> Failing(std::function<void(TestForm&)> record)
{
    return [record](TestForm& form) {
        record(form);
        form.ReportError();
        return false;
    };
}

TEST(FormHandlerTest, RepliesForEachOutcome)
{
    arx_testing::TempRoot root;
    root.WriteFile("/usr/vorn/vornman/webman/texts/enu/strings", "[error]\nerror_field_too_long = Too long.\n");
    root.WriteFile("/usr/vorn/vornman/webman/texts/ger/strings", "[error]\nerror_field_too_long = Zu lang.\n");
    const std::string lockPath = root.Path("/form.lock");
    const char* fields[] = {"a", "b", "c"};
    struct Row {
        const char* description;
        std::string body;
        std::function<bool(TestForm&)> action;
        std::string reply;  // the JSON body, compact; "" for none
        bool processed;
        const char* language = "en";
        bool lockHeldElsewhere = false;
    };
    const Row rows[] = {
        {"load", "action=load", [](TestForm& f) { f.ReportSuccess(Json::Value("now")); return true; },
         R"({"data":"now","success":true})", true},
        {"apply with valid fields", "action=apply&name=ann&port=443&zone=UTC", ApplyFields,
         R"({"data":{},"success":true})", true},
        {"every bad field gets its message", "action=apply&name=&port=0", ApplyFields,
         R"({"errors":{"name":"The field is not valid.","port":"The field is not valid.",)"
         R"("zone":"The field is not present."},"success":false})",
         false},
        {"a text too long, in English", "action=apply&name=abcdef&port=1&zone=UTC", ApplyFields,
         R"({"errors":{"name":"Too long."},"success":false})", false},
        {"a text too long, in German", "action=apply&name=abcdef&port=1&zone=UTC", ApplyFields,
         R"({"errors":{"name":"Zu lang."},"success":false})", false, "de"},
        {"a form-level error with its line; what follows is ignored", "action=apply", Failing([](TestForm& f) {
             f.SetFormErrInfo("common", "error_disk_full", 42);
             f.SetFieldInvalid("name", "ignored");
             f.SetFormErrInfo("common", "second", 1);
         }),
         R"({"errinfo":{"key":"error_disk_full","line":42,"sec":"common"},"success":false})", false},
        {"a field error blocks a form-level one", "action=apply", Failing([](TestForm& f) {
             f.SetFieldInvalid("name", nullptr);
             f.SetFormErrInfo("common", "error_disk_full", 42);
         }),
         R"({"errors":{"name":""},"success":false})", false},
        {"nothing recorded, yet failed: no line", "action=apply", Failing([](TestForm&) {}),
         R"({"errinfo":{"key":"error_system","sec":"common"},"success":false})", false},
        {"missing fields, all of them", "action=apply&a=1",
         Failing([&fields](TestForm& f) { f.ValidNullFields(fields, 3); }),
         R"({"errors":{"b":"The field is not present.","c":"The field is not present."},"success":false})", false},
        {"another case of the action", "action=Load", Failing([](TestForm&) {}), "", true},
        {"no action", "name=x", ApplyFields, "", false},
        {"apply while another process applies", "action=apply", Failing([](TestForm& f) { f.ExLock(); }),
         R"({"errinfo":{"key":"error_apply_occupied","sec":"common"},"success":false})", false, "en", true},
        {"load while another process applies", "action=load", Failing([](TestForm& f) { f.ShLock(); }),
         R"({"errinfo":{"key":"error_occupied","sec":"common"},"success":false})", false, "en", true},
        {"the lock when free", "action=apply",
         [](TestForm& f) { return f.ExLock() && f.ShLock() && f.ExLock() && (f.ReportSuccess(true), true); },
         R"({"data":true,"success":true})", true},
    };
    for (const Row& row : rows) {
        const int held = open(lockPath.c_str(), O_RDWR | O_CREAT, 0644);
        if (row.lockHeldElsewhere)
            flock(held, LOCK_EX);
        arx_testing::ChildOptions request = arx_testing::PostRequest(row.body);
        request.env.push_back({"HTTP_ACCEPT_LANGUAGE", row.language});
        const auto run = arx_testing::RunInChild(
            [&] {
                TestForm form(lockPath.c_str(), row.action);
                printf("%d", form.Process());
            },
            request);
        close(held);
        // Headers, the reply, then what Process returned.
        const size_t body = run.output.find("\r\n\r\n");
        const std::string reply = body == std::string::npos ? "" : run.output.substr(body + 4);
        EXPECT_EQ(reply.empty() ? "" : arx_testing::CompactJson(arx_testing::JsonOf(reply)), row.reply)
            << row.description;
        EXPECT_EQ(run.output.back(), row.processed ? '1' : '0') << row.description;
        EXPECT_TRUE(reply.empty() ? run.output.size() == 1 : run.output.find("Content-type: text/plain") == 0)
            << row.description;
    }
}

TEST(FormHandlerTest, TheLockFileIsARegularFileAndNeverALink)
{
    arx_testing::TempRoot root;
    root.WriteFile("/target", "keep");
    symlink(root.Path("/target").c_str(), root.Path("/link.lock").c_str());
    mkfifo(root.Path("/fifo.lock").c_str(), 0600);
    for (const char* name : {"/link.lock", "/fifo.lock"}) {
        int fd = 0;
        EXPECT_FALSE(ServerFormHandler::LockFile(root.Path(name).c_str(), true, &fd)) << name;
        EXPECT_EQ(fd, -1) << name;
    }
}

}  // namespace
