// Field validators and the list of them a form checks.

#include <arx/form_validator.h>

#include <arpa/inet.h>
#include <errno.h>
#include <limits.h>
#include <stdlib.h>
#include <time.h>

#include <algorithm>

#include <arx/string_bundle.h>
#include <vorn/net.h>

namespace {

constexpr char kNotPresent[] = "The field is not present.";
constexpr char kNotValid[] = "The field is not valid.";
constexpr char kTooLong[] = "error_field_too_long";
constexpr char kDefaultDateFormat[] = "%Y/%m/%d";

// value read whole by strtol.  A number outside int is refused rather
// than cut to 32 bits: a form would otherwise accept "4294967297" for 1
// and then store the text it was sent.
bool WholeInt(const std::string& value, int& number)
{
    char* end = nullptr;
    errno = 0;
    const long read = strtol(value.c_str(), &end, 10);
    if (*end != '\0' || errno == ERANGE || read < INT_MIN || read > INT_MAX)
        return false;
    number = static_cast<int>(read);
    return true;
}

}  // namespace

FieldValidator::FieldValidator(const char* name) : name_(name != nullptr ? name : "")
{
}

FieldValidator::~FieldValidator() = default;

std::string FieldValidator::GetInvalidErrKey()
{
    return kDefaultInvalidKey;
}

TextFieldValidator::TextFieldValidator(const char* name, bool allowEmpty, unsigned int maxLength)
    : FieldValidator(name), allowEmpty_(allowEmpty), maxLength_(maxLength), errKey_(kDefaultInvalidKey)
{
}

bool TextFieldValidator::Validate(const std::string& value)
{
    if (value.empty() && !allowEmpty_)
        return false;
    if (maxLength_ != 0 && value.size() > maxLength_) {
        errKey_ = kTooLong;
        return false;
    }
    return true;
}

std::string TextFieldValidator::GetInvalidErrKey()
{
    return errKey_;
}

NumberFieldValidator::NumberFieldValidator(const char* name, int min, int max)
    : FieldValidator(name), min_(min), max_(max)
{
}

bool NumberFieldValidator::Validate(const std::string& value)
{
    int number = 0;
    return WholeInt(value, number) && number >= min_ && number <= max_;
}

IPV4Validator::IPV4Validator(const char* name, bool isMask) : FieldValidator(name), isMask_(isMask)
{
}

bool IPV4Validator::Validate(const std::string& value)
{
    if (isMask_)
        return BlVLIBIsIpMask(value.c_str()) != 0;
    struct in_addr address;
    return inet_aton(value.c_str(), &address) != 0;
}

DateTimeValidator::DateTimeValidator(const char* name, const char* format)
    : FieldValidator(name), format_(format != nullptr ? format : kDefaultDateFormat)
{
}

bool DateTimeValidator::Validate(const std::string& value)
{
    struct tm parsed = {};
    const char* end = strptime(value.c_str(), format_.c_str(), &parsed);
    return end != nullptr && *end == '\0';
}

StringListValidator::StringListValidator(const char* name, const std::vector<std::string>& values)
    : FieldValidator(name), values_(values)
{
}

bool StringListValidator::Validate(const std::string& value)
{
    return std::find(values_.begin(), values_.end(), value) != values_.end();
}

IntegerListValidator::IntegerListValidator(const char* name, const std::vector<int>& values)
    : FieldValidator(name), values_(values)
{
}

bool IntegerListValidator::Validate(const std::string& value)
{
    int number = 0;
    return !value.empty() && WholeInt(value, number) &&
           std::find(values_.begin(), values_.end(), number) != values_.end();
}

FormValidator::FormValidator(bool allowAbsent) : allowAbsent_(allowAbsent)
{
}

FormValidator::~FormValidator()
{
    for (FieldValidator* validator : validators_)
        delete validator;
}

void FormValidator::AddField(FieldValidator* validator)
{
    if (validator == nullptr)
        return;
    try {
        validators_.push_back(validator);
    } catch (const std::exception&) {
        delete validator;
    }
}

void FormValidator::AddTextField(const char* name, bool allowEmpty)
{
    AddField(new TextFieldValidator(name, allowEmpty, 0));
}

void FormValidator::AddTextField(const char* name, unsigned int maxLength, bool allowEmpty)
{
    AddField(new TextFieldValidator(name, allowEmpty, maxLength));
}

void FormValidator::AddDateTimeField(const char* name, const char* format)
{
    AddField(new DateTimeValidator(name, format));
}

void FormValidator::AddNumberField(const char* name, int min, int max)
{
    AddField(new NumberFieldValidator(name, min, max));
}

void FormValidator::AddStringList(const char* name, const char** values, int count)
{
    std::vector<std::string> list;
    for (int i = 0; values != nullptr && i < count; ++i)
        list.emplace_back(values[i] != nullptr ? values[i] : "");
    AddField(new StringListValidator(name, list));
}

void FormValidator::AddStringList(const char* name, const std::vector<std::string>& values)
{
    AddField(new StringListValidator(name, values));
}

void FormValidator::AddIPV4(const char* name)
{
    AddField(new IPV4Validator(name, false));
}

void FormValidator::AddIPV4Mask(const char* name)
{
    AddField(new IPV4Validator(name, true));
}

void FormValidator::AddIntegerList(const char* name, int* values, int count)
{
    std::vector<int> list;
    if (values != nullptr && count > 0)
        list.assign(values, values + count);
    AddField(new IntegerListValidator(name, list));
}

bool FormValidator::Validate(WebMan& request)
{
    for (FieldValidator* validator : validators_) {
        const char* value = request.In(validator->GetName().c_str(), nullptr);
        if (value == nullptr ? !allowAbsent_ : !validator->Validate(value))
            return false;
    }
    return true;
}

bool FormValidator::Validate(ServerFormHandler& handler)
{
    bool valid = true;
    for (FieldValidator* validator : validators_) {
        const char* name = validator->GetName().c_str();
        const char* value = handler.GetWebMan().In(name, nullptr);
        if (value == nullptr) {
            if (!allowAbsent_) {
                handler.SetFieldInvalid(name, kNotPresent);
                valid = false;
            }
            continue;
        }
        if (validator->Validate(value))
            continue;
        valid = false;
        const std::string key = validator->GetInvalidErrKey();
        if (key == FieldValidator::kDefaultInvalidKey) {
            handler.SetFieldInvalid(name, kNotValid);
        } else {
            // The message in the user's language, from the UI's strings.
            StringBundle errors("error", nullptr, nullptr, nullptr, nullptr, nullptr);
            handler.SetFieldInvalid(name, errors.Text(key.c_str(), ""));
        }
    }
    return valid;
}
