#include "Sandbox.h"

#include <boost/json/serialize.hpp>

#include <charconv>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <map>
#include <stdexcept>

#include <unistd.h>

namespace {

constexpr const char* usage =
    "corvane-sandbox: a local stand-in for the sign-in service and the backend\n"
    "  --folder DIR            certificates and sign-ins, kept from start to start\n"
    "                          (default: corvane-sandbox in $XDG_RUNTIME_DIR, otherwise a temporary one)\n"
    "  --proxy-port N --https-port N --http-port N --control-port N\n"
    "                          fixed ports (default: free ones)\n"
    "  --token-lifetime S      of a session token, in seconds (default 60)\n"
    "  --pace MS               between the messages of an answer (default 120)\n"
    "  --assessment-every S    an assessment at least after so many seconds of sound (default 20, 0: never)\n"
    "  --keep-sound            keep what is heard, for the action save-sound\n"
    "  --quiet                 no log\n";

long number(const std::string& option, const char* text) {
    long value = 0;
    const auto [end, error] = std::from_chars(text, text + std::strlen(text), value);
    if (error != std::errc() || *end != '\0' || value < 0) {
        throw std::invalid_argument(option + " wants a number");
    }
    return value;
}

sandbox::Options readOptions(int count, char** arguments) {
    sandbox::Options options;
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
            *port->second = static_cast<unsigned short>(number(option, arguments[i]));
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
    return options;
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
    // Before the network thread starts, so that it inherits the mask.
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    try {
        sandbox::Sandbox stand(readOptions(argc, argv));
        auto ready = stand.describe();
        ready["ready"] = true;
        ready["pid"] = getpid();
        std::cout << boost::json::serialize(ready) << std::endl;
        printHints(stand.addresses());
        int received = 0;
        sigwait(&ends, &received);
    } catch (const std::exception& error) {
        std::cerr << "corvane-sandbox: " << error.what() << '\n' << usage;
        return 1;
    }
    return 0;
}
