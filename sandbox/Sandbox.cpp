#include "sandbox/Sandbox.h"

#include "sandbox/ControlService.h"
#include "sandbox/Core.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>

#include <future>
#include <optional>
#include <stdexcept>
#include <thread>

namespace sandbox {

namespace {

// The folder of the options, or a temporary one that is removed with this object.
class Folder {
public:
    explicit Folder(const std::filesystem::path& wanted)
        : m_path(wanted)
        , m_isTemporary(wanted.empty()) {
        if (m_isTemporary) {
            auto form = (std::filesystem::temp_directory_path() / "corvane-sandbox-XXXXXX").string();
            if (mkdtemp(form.data()) == nullptr) {
                throw std::runtime_error("no temporary folder");
            }
            m_path = form;
        }
    }
    ~Folder() {
        if (m_isTemporary) {
            std::error_code ignored;
            std::filesystem::remove_all(m_path, ignored);
        }
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;

    const std::filesystem::path& path() const { return m_path; }

private:
    std::filesystem::path m_path;
    bool m_isTemporary;
};

Options inFolder(Options options, const Folder& folder) {
    options.folder = folder.path();
    return options;
}

} // namespace

struct Sandbox::Impl {
    explicit Impl(const Options& options)
        : folder(options.folder)
        , work(asio::make_work_guard(context))
        , core(std::in_place, context, inFolder(options, folder))
        , addresses(core->addresses())
        , thread([this] { context.run(); }) {}

    ~Impl() {
        asio::post(context, [this] {
            core->stop();
            work.reset();
        });
        thread.join();
    }

    // Runs `action` on the network thread and returns its result, or throws its exception.
    template<typename Action>
    auto onThread(Action action) {
        std::packaged_task<decltype(action(*core))()> task([&] { return action(*core); });
        auto result = task.get_future();
        asio::post(context, [&task] { task(); });
        return result.get();
    }

    Folder folder;
    asio::io_context context{1};
    asio::executor_work_guard<asio::io_context::executor_type> work;
    std::optional<Core> core;
    Addresses addresses;
    std::thread thread;
};

Sandbox::Sandbox(Options options)
    : m_impl(std::make_unique<Impl>(options)) {}

Sandbox::~Sandbox() = default;

const Addresses& Sandbox::addresses() const {
    return m_impl->addresses;
}

boost::json::object Sandbox::describe() const {
    return m_impl->onThread([](Core& core) { return describeAddresses(core); });
}

boost::json::object Sandbox::apply(std::string_view action, boost::json::object parameters) {
    return m_impl->onThread([&](Core& core) { return applyAction(core, action, parameters); });
}

boost::json::object Sandbox::state() const {
    return m_impl->onThread([](Core& core) { return core.state(); });
}

std::vector<std::string> Sandbox::violations() const {
    return m_impl->onThread([](Core& core) {
        const auto& lines = core.ledger().violations();
        return std::vector<std::string>(lines.begin(), lines.end());
    });
}

std::vector<std::int16_t> Sandbox::samples(Side side) const {
    return m_impl->onThread([side](Core& core) {
        const auto* record = core.backend().interview({});
        return record != nullptr ? record->streams[static_cast<std::size_t>(side)].samples()
                                 : std::vector<std::int16_t>();
    });
}

} // namespace sandbox
