// tarvix doctor: what a person checks when nothing works.
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <grp.h>
#include <nlohmann/json.hpp>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include "adapter/backend.hpp"
#include "adapter/context.hpp"
#include "adapter/holders.hpp"
#include "adapter/listing.hpp"
#include "commands/command.hpp"
#include "commands/permission.hpp"
#include "common/terminal.hpp"
#include "console/errors.hpp"

namespace tool {

namespace {

namespace fs = std::filesystem;

constexpr const char* RULE_NAME = "70-tarvix.rules";

// Where udev reads it; the first that there is takes the place of the others.
std::optional<fs::path> installedRule()
{
    for (const char* directory : {"/etc/udev/rules.d", "/usr/lib/udev/rules.d", "/lib/udev/rules.d"}) {
        const fs::path rule = fs::path(directory) / RULE_NAME;
        std::error_code ignored;
        if (fs::exists(rule, ignored)) {
            return rule;
        }
    }
    return std::nullopt;
}

// Where the rule is that came with this program, installed or built.
std::optional<fs::path> shippedRule()
{
    std::error_code ignored;
    for (fs::path folder = fs::read_symlink("/proc/self/exe", ignored); folder.has_relative_path();) {
        folder = folder.parent_path();
        for (const char* place : {"lib/udev/rules.d", "packaging/udev"}) {
            if (fs::exists(folder / place / RULE_NAME, ignored)) {
                return folder / place / RULE_NAME;
            }
        }
    }
    return std::nullopt;
}

// What other commands say ends with sending people here.
std::string withoutDoctor(std::string advice)
{
    for (const std::string_view end : {"run 'tarvix doctor'", " or ", ","}) {
        if (advice.size() >= end.size() && advice.compare(advice.size() - end.size(), end.size(), end) == 0) {
            advice.resize(advice.size() - end.size());
        }
    }
    return advice;
}

class Report {
public:
    void ok(std::string_view check, const std::string& finding) { add("ok", check, finding, {}); }
    void note(std::string_view check, const std::string& finding, const std::string& advice = {})
    {
        add("note", check, finding, advice);
    }
    // The first failure decides the exit status.
    void fail(std::string_view check, const Failure& failure)
    {
        const Failure here(failure.exitStatus(), failure.what(), withoutDoctor(failure.advice()));
        add("fail", check, here.what(), here.advice());
        if (!failure_) {
            failure_ = here;
        }
    }

    void print(Output& output) const { output.print(text_, {{"checks", checks_}, {"ok", !failure_}}); }
    const std::optional<Failure>& failure() const { return failure_; }

private:
    void add(const char* result, std::string_view check, const std::string& finding, const std::string& advice)
    {
        const bool failed = std::string_view(result) == "fail";
        text_ += fmt::format("{:<4}  {}: {}\n", failed ? "FAIL" : result, check, terminal::printable(finding));
        Json row{{"check", check}, {"result", result}, {"finding", finding}};
        if (!advice.empty()) {
            text_ += fmt::format("      {}\n", advice);
            row["advice"] = advice;
        }
        checks_.push_back(std::move(row));
    }

    std::string text_;
    Json checks_ = Json::array();
    std::optional<Failure> failure_;
};

std::string modeText(mode_t mode)
{
    std::string text = S_ISCHR(mode) ? "c" : S_ISREG(mode) ? "-" : "?";
    for (const unsigned shift : {6U, 3U, 0U}) {
        const unsigned bits = mode >> shift;
        text += (bits & 4U) != 0 ? 'r' : '-';
        text += (bits & 2U) != 0 ? 'w' : '-';
        text += (bits & 1U) != 0 ? 'x' : '-';
    }
    return text;
}

std::string ownerText(const struct stat& status)
{
    const passwd* const user = getpwuid(status.st_uid);
    const group* const group_ = getgrgid(status.st_gid);
    return fmt::format("{}:{}", user != nullptr ? user->pw_name : std::to_string(status.st_uid),
                       group_ != nullptr ? group_->gr_name : std::to_string(status.st_gid));
}

void checkNode(const Adapter& adapter, Report& report)
{
    struct stat status {};
    if (stat(adapter.path.c_str(), &status) != 0) {
        report.note("device node", adapter.path + " is not a device node");
        return;
    }
    const std::string text = fmt::format("{} {} {}", adapter.path, modeText(status.st_mode), ownerText(status));
    if (access(adapter.path.c_str(), R_OK | W_OK) == 0) {
        report.ok("device node", text);
    } else {
        const std::string advice = permissionAdvice(nodeAccess(status, installedRule().value_or(fs::path())));
        report.fail("device node", Failure(ExitStatus::NO_PERMISSION, text + ": permission denied", advice));
    }
}

void checkRule(Report& report)
{
    if (const auto rule = installedRule()) {
        report.ok("udev rule", rule->string());
        return;
    }
    const auto shipped = shippedRule();
    report.note("udev rule", fmt::format("{} is not installed", RULE_NAME),
                shipped ? fmt::format("sudo cp {} /etc/udev/rules.d/ && sudo udevadm control --reload && "
                                      "sudo udevadm trigger --subsystem-match=hidraw",
                                      shipped->string())
                        : "install the package that it comes with");
}

void checkHolders(const Adapter& adapter, Report& report)
{
    if (!fs::path(adapter.path).is_absolute()) {
        return;
    }
    const std::string holders = textOf(holdersOf(adapter.path));
    if (holders.empty()) {
        report.ok("other programs",
                  geteuid() == 0 ? "none is using the adapter" : "none of yours is using the adapter");
    } else {
        report.note("other programs", fmt::format("in use by {}", holders),
                    "stop it: programs that share an adapter receive each other's answers");
    }
}

void checkExchange(Context& context, Report& report)
{
    try {
        TarvixSDK& sdk = context.sdk();
        std::vector<std::uint8_t> string;
        const auto start = std::chrono::steady_clock::now();
        context.check(sdk.getUsbString(string, 1), "reading a string");
        const std::chrono::duration<double, std::milli> time = std::chrono::steady_clock::now() - start;
        report.ok("exchange", fmt::format("answered in {:.2f} ms", time.count()));
    } catch (const Failure& failure) {
        report.fail("exchange", failure);
    }
}

void examine(Context& context, Report& report)
{
    const Backend backend = currentBackend();
    report.ok("software",
              fmt::format("tarvixsdk {}, hidapi {} ({})", TarvixSDK::getVersion(), backend.version, backend.library));
    checkRule(report);
    const auto adapters = attachedAdapters();
    for (const Adapter& adapter : adapters) {
        report.ok("adapter", fmt::format("{} at {}", adapter.selector, adapter.path));
    }
    try {
        const Adapter chosen = chooseAdapter(context.options().adapter);
        checkNode(chosen, report);
        checkHolders(chosen, report);
        checkExchange(context, report);
    } catch (const Failure& failure) {
        report.fail("choice", failure);
    }
}

void doctor(Context& context, const NoOptions&)
{
    Report report;
    examine(context, report);
    report.print(context.output());
    if (report.failure()) {
        throw Failure(*report.failure());
    }
}

} // namespace

void addDoctorCommand(Commands& commands)
{
    commands.add<NoOptions>("doctor", "Diagnose an adapter that does not work", doctor, {"tarvix doctor"});
}

} // namespace tool
