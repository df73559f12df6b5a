#include "sandbox/Sandbox.h"

#include <boost/json/serialize.hpp>

#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <limits>
#include <map>
#include <stdexcept>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr const char* usage =
    "corvane-sandbox: a local stand-in for the sign-in service and the backend\n"
    "  --folder DIR            holds certificates and sign-ins across restarts\n"
    "                          (default: corvane-sandbox in $XDG_RUNTIME_DIR, or a temporary folder)\n"
    "  --proxy-port N --https-port N --http-port N --control-port N\n"
    "                          fixed ports (default: free ones)\n"
    "  --token-lifetime S      lifetime of a session token in seconds (default 60)\n"
    "  --pace MS               pause between the messages of an answer (default 120)\n"
    "  --assessment-every S    seconds of sound until an assessment is due (default 20, 0: never)\n"
    "  --keep-sound            keep received sound for the action save-sound\n"
    "  --quiet                 no log\n"
    "  --run PROGRAM           start PROGRAM against this sandbox, and end with it\n";

struct Command {
    sandbox::Options options;
    std::string program;
};

template<typename Number = long>
Number number(const std::string& option, const char* text) {
    Number value = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error != std::errc() || *end != '\0' || value < 0) {
        throw std::invalid_argument(option + " needs a number from 0 to " +
                                    std::to_string(std::numeric_limits<Number>::max()));
    }
    return value;
}

Command readOptions(int count, char** arguments) {
    Command command;
    auto& options = command.options;
    options.log = [](const std::string& line) { std::cerr << "sandbox: " + line + '\n'; };
    if (const char* runtime = std::getenv("XDG_RUNTIME_DIR"); runtime != nullptr && *runtime == '/') {
        options.folder = std::string(runtime) + "/corvane-sandbox";
    }
    const std::map<std::string, unsigned short*> ports{{"--proxy-port", &options.proxyPort},
                                                       {"--https-port", &options.httpsPort},
                                                       {"--http-port", &options.httpPort},
                                                       {"--control-port", &options.controlPort}};
    for (int i = 1; i < count; ++i) {
        const std::string option = arguments[i];
        if (option == "--keep-sound") {
            options.keepSamples = true;
            continue;
        }
        if (option == "--quiet") {
            options.log = nullptr;
            continue;
        }
        if (++i >= count) {
            throw std::invalid_argument("unknown option, or one without its value: " + option);
        }
        if (const auto port = ports.find(option); port != ports.end()) {
            *port->second = number<unsigned short>(option, arguments[i]);
        } else if (option == "--run") {
            command.program = arguments[i];
        } else if (option == "--folder") {
            options.folder = arguments[i];
        } else if (option == "--token-lifetime") {
            options.tokenLifetime = std::chrono::seconds(number(option, arguments[i]));
        } else if (option == "--pace") {
            options.pace = std::chrono::milliseconds(number(option, arguments[i]));
        } else if (option == "--assessment-every") {
            options.assessmentEvery = std::chrono::seconds(number(option, arguments[i]));
        } else {
            throw std::invalid_argument("unknown option " + option);
        }
    }
    return command;
}

// Starts the program with the environment that points it here, and with its signals unblocked.
pid_t start(const std::string& program, const sandbox::Addresses& addresses) {
    setenv("SSL_CERT_FILE", addresses.certificateFile.c_str(), 1);
    setenv("https_proxy", addresses.proxy.c_str(), 1);
    setenv("no_proxy", "127.0.0.1,localhost", 1);
    sigset_t none;
    sigemptyset(&none);
    posix_spawnattr_t attributes{};
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK);
    posix_spawnattr_setsigmask(&attributes, &none);
    std::string name = program;
    char* const arguments[] = {name.data(), nullptr};
    pid_t process = 0;
    const int error = posix_spawnp(&process, program.c_str(), nullptr, &attributes, arguments, environ);
    posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        throw std::runtime_error(program + ": " + std::strerror(error));
    }
    return process;
}

// Waits for a signal to end, or for the program to end. Returns the exit status.
int stay(const sigset_t& ends, pid_t process) {
    int received = 0;
    do {
        sigwait(&ends, &received);
    } while (process == 0 && received == SIGCHLD);
    if (process == 0) {
        return 0;
    }
    if (received != SIGCHLD) {
        kill(process, SIGTERM);
    }
    int status = 0;
    waitpid(process, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 1;
}

void printHints(const sandbox::Addresses& a) {
    std::cerr << "To point the program here:\n"
              << "  export SSL_CERT_FILE=" << a.certificateFile.string() << "\n"
              << "  export https_proxy=" << a.proxy << "\n"
              << "  publishable key  " << a.developmentKey << "\n"
              << "  backend          " << a.backend << " (or " << a.backendTls << ", " << a.backendPlain
              << " without the proxy)\n"
              << "Sign in as interviewer@example.com with the code 424242.\n"
              << "Faults: curl -d '{}' " << a.control << "/drop    What was seen: curl " << a.control
              << "/state\n";
}

} // namespace

int main(int argc, char** argv) {
    if (argc > 1 && std::string(argv[1]) == "--help") {
        std::cout << usage;
        return 0;
    }
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigaddset(&ends, SIGCHLD);
    // Before the network thread starts, so that it inherits the mask.
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    try {
        const auto command = readOptions(argc, argv);
        sandbox::Sandbox stand(command.options);
        auto ready = stand.describe();
        ready["ready"] = true;
        ready["pid"] = getpid();
        std::cout << boost::json::serialize(ready) << std::endl;
        printHints(stand.addresses());
        return stay(ends, command.program.empty() ? 0 : start(command.program, stand.addresses()));
    } catch (const std::exception& error) {
        std::cerr << "corvane-sandbox: " << error.what() << '\n' << usage;
        return 1;
    }
}
