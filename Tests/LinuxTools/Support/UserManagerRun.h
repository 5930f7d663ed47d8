#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>

namespace TestSupport
{

// A user manager of systemd for a test, with a runtime folder and a home of its own, in a control group of its own so
// that several may run side by side. Ended with everything it started at the end of its life, also when the test
// program dies.
class UserManagerRun
{
public:
    // Empty when one can be started here, else why not.
    static std::string obstacle();

    UserManagerRun(std::filesystem::path runtimeFolder, std::filesystem::path home);
    ~UserManagerRun();
    UserManagerRun(const UserManagerRun&) = delete;
    UserManagerRun& operator=(const UserManagerRun&) = delete;

    [[nodiscard]] bool isRunning() const { return manager_ > 0; }
    // What it said, for a failure's message.
    [[nodiscard]] std::string log() const;

    // As a logout and a login: everything ends, the runtime folder is empty afterwards, a new manager starts.
    void loginAnew();

    // Stops answering, or answers again.
    void pause() const;
    void resume() const;

private:
    void start();
    void end();
    void killAll() const;

    std::filesystem::path runtimeFolder_;
    std::filesystem::path home_;
    std::filesystem::path group_;
    pid_t manager_ = -1;
};

} // namespace TestSupport
