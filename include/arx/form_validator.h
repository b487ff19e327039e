// FormValidator: the rules a form's fields must meet before it acts.
//
//   FormValidator fields(false);                 // false: every field must be sent
//   fields.AddTextField("name", 64, false);      // 1 to 64 bytes
//   fields.AddNumberField("port", 1, 65535);
//   const char* zones[] = {"UTC", "Europe/Berlin"};
//   fields.AddStringList("zone", zones, 2);
//   if (!fields.Validate(form)) { form.ReportError(); return false; }
//
// Validate(handler) checks every field and records a message for each bad
// one: "The field is not present.", "The field is not valid.", or the text
// of the rule's own key in the section "error" of the UI strings, in the
// user's language (a text that is too long: "error_field_too_long").
// Validate(request) only answers yes or no, at the first bad field.
//
// Numbers are read as strtol reads them (blanks before them and a sign
// are fine) and must fit an int; an empty text reads as 0 for a number
// field, but never matches an integer list.  Lengths are in bytes.
#ifndef ARX_FORM_VALIDATOR_H
#define ARX_FORM_VALIDATOR_H

#include <string>
#include <vector>

#include <arx/export.h>
#include <arx/form_handler.h>
#include <arx/webman.h>

class ARX_EXPORT FieldValidator {
public:
    // The key that stands for "no message of its own".
    static constexpr const char* kDefaultInvalidKey = "_vorn_invalid_defalut_key";

    explicit FieldValidator(const char* name);
    virtual bool Validate(const std::string& value) = 0;
    // The key of the message for an invalid value in the section "error",
    // or kDefaultInvalidKey.
    virtual std::string GetInvalidErrKey();
    virtual ~FieldValidator();

    const std::string& GetName() const { return name_; }

protected:
    std::string name_;
};

// Not empty unless allowEmpty; at most maxLength bytes unless it is 0.
class ARX_EXPORT TextFieldValidator : public FieldValidator {
public:
    TextFieldValidator(const char* name, bool allowEmpty, unsigned int maxLength);
    bool Validate(const std::string& value) override;
    // "error_field_too_long" once a value was too long.
    std::string GetInvalidErrKey() override;

private:
    bool allowEmpty_;
    unsigned int maxLength_;
    std::string errKey_;
};

// A whole decimal number from min to max.
class ARX_EXPORT NumberFieldValidator : public FieldValidator {
public:
    NumberFieldValidator(const char* name, int min, int max);
    bool Validate(const std::string& value) override;

private:
    int min_;
    int max_;
};

// An IPv4 address as inet_aton reads it, or a dotted network mask.
class ARX_EXPORT IPV4Validator : public FieldValidator {
public:
    IPV4Validator(const char* name, bool isMask);
    bool Validate(const std::string& value) override;

private:
    bool isMask_;
};

// A text that strptime reads whole with the format.
class ARX_EXPORT DateTimeValidator : public FieldValidator {
public:
    DateTimeValidator(const char* name, const char* format);
    bool Validate(const std::string& value) override;

private:
    std::string format_;
};

// One of the values, exactly (case counts).
class ARX_EXPORT StringListValidator : public FieldValidator {
public:
    StringListValidator(const char* name, const std::vector<std::string>& values);
    bool Validate(const std::string& value) override;

private:
    std::vector<std::string> values_;
};

// A whole decimal number that is one of the values.
class ARX_EXPORT IntegerListValidator : public FieldValidator {
public:
    IntegerListValidator(const char* name, const std::vector<int>& values);
    bool Validate(const std::string& value) override;

private:
    std::vector<int> values_;
};

class ARX_EXPORT FormValidator {
public:
    // allowAbsent: a field missing from the request is skipped (true) or
    // is an error (false).
    explicit FormValidator(bool allowAbsent);
    ~FormValidator();
    FormValidator(const FormValidator&) = delete;
    FormValidator& operator=(const FormValidator&) = delete;

    // Rules are checked in the order they were added.
    void AddTextField(const char* name, bool allowEmpty);
    void AddTextField(const char* name, unsigned int maxLength, bool allowEmpty);
    // format NULL: "%Y/%m/%d".
    void AddDateTimeField(const char* name, const char* format);
    void AddNumberField(const char* name, int min, int max);
    void AddStringList(const char* name, const char** values, int count);
    void AddStringList(const char* name, const std::vector<std::string>& values);
    void AddIPV4(const char* name);
    void AddIPV4Mask(const char* name);
    void AddIntegerList(const char* name, int* values, int count);
    // A rule of the program's own; the list deletes it.
    void AddField(FieldValidator* validator);

    bool Validate(WebMan& request);
    bool Validate(ServerFormHandler& handler);

private:
    std::vector<FieldValidator*> validators_;
    bool allowAbsent_;
};

#endif
