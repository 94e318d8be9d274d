// A running "commonctl serve".
#pragma once

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

#include <gtest/gtest.h>

using Words = std::vector<std::string>;

/// It serves at any free port, and the test writes its input.
class Serving {
public:
    Serving(const char* program, Words options)
    {
        options.insert(options.begin(), {program, "serve", "--port", "0"});
        std::vector<char*> pointers;
        for (auto& word : options) {
            pointers.push_back(word.data());
        }
        pointers.push_back(nullptr);
        int in[2];
        int out[2];
        EXPECT_EQ(pipe2(in, O_CLOEXEC), 0);
        EXPECT_EQ(pipe2(out, O_CLOEXEC), 0);
        pid_ = fork();
        if (pid_ == 0) {
            dup2(in[0], STDIN_FILENO);
            dup2(out[1], STDOUT_FILENO);
            execv(pointers[0], pointers.data());
            _exit(127);
        }
        close(in[0]);
        close(out[1]);
        input_ = in[1];
        output_ = fdopen(out[0], "re");
        char line[200] = "";
        EXPECT_NE(fgets(line, sizeof line, output_), nullptr);
        address_ = line;
    }
    ~Serving()
    {
        close(input_);
        fclose(output_);
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;

    void say(const std::string& line) const
    {
        EXPECT_EQ(write(input_, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    }

    /// @return its exit status, when it has ended, and nothing else was printed.
    int end(int signal)
    {
        EXPECT_EQ(kill(pid_, signal), 0);
        EXPECT_EQ(fgetc(output_), EOF);
        int status = -1;
        EXPECT_EQ(waitpid(pid_, &status, 0), pid_);
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    const std::string& address() const { return address_; }
    int port() const
    {
        return std::atoi(address_.c_str() + address_.rfind(':', address_.find('#')) + 1);
    }

private:
    pid_t pid_;
    int input_;
    FILE* output_;
    std::string address_;
};
