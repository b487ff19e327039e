/*
 * The task manager: small named JSON records of one user, kept in the
 * user's preference directory (tasks/NAME.json), each written whole by
 * replacing it, so that a reader sees the old record or the new one.
 *
 *   ARX::TaskMgr tasks("alice");
 *   ARX::Task* task = tasks.createTask("Calendar");
 *   Json::Value state = task->serialize();
 *   state["property"] = data;
 *   task->deserialize(state);                 // stores it
 *   delete task;
 *
 * A name is one path element of letters, digits, '.', '_' and '-', not
 * beginning with '.', at most 128 bytes; any other name is refused (with
 * a log line) before any file is touched.  C++ only.
 */
#ifndef VORN_TASK_H
#define VORN_TASK_H

#ifdef __cplusplus

#include <sys/types.h>

#include <string>

#include <json/value.h>

#include <vorn/export.h>

namespace ARX {

class VORN_EXPORT Task {
public:
    ~Task();
    Task(const Task&) = delete;
    Task& operator=(const Task&) = delete;

    const std::string& name() const { return name_; }

    // The task's state: the stored JSON object, an empty object for a task
    // not stored yet.
    Json::Value serialize() const;

    // Stores state (an object) as the task's record, replacing the old
    // one whole; true when stored.
    bool deserialize(const Json::Value& state);

    // Deletes the stored record; true when there is none afterwards.
    bool remove();

private:
    friend class TaskMgr;
    Task(const std::string& directory, uid_t owner, gid_t group, const std::string& name, const Json::Value& state);

    std::string directory_;  // the user's tasks directory
    uid_t owner_;
    gid_t group_;
    std::string name_;
    Json::Value state_;
};

class VORN_EXPORT TaskMgr {
public:
    // The tasks of user.  An unknown user, or one without a preference
    // directory, has none: every operation then fails.
    explicit TaskMgr(const char* user);

    // Whether a record of that name is stored.
    bool hasTask(const char* name) const;

    // The stored task (a new object the caller deletes), or NULL when there
    // is none, its record is no JSON object, or the name is refused.
    Task* getTask(const char* name) const;

    // The task of that name: its stored state, or a new empty one (stored
    // by deserialize).  NULL when the name is refused or the user has no
    // preference directory.
    Task* createTask(const char* name);

private:
    std::string directory_;  // "" when the user has none
    uid_t owner_ = static_cast<uid_t>(-1);
    gid_t group_ = static_cast<gid_t>(-1);
};

}  // namespace ARX

#endif

#endif
