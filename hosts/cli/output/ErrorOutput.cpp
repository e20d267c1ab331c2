#include "output/ErrorOutput.hpp"

#include "output/JSONOutput.hpp"
#include "output/ModelJSON.hpp"

namespace KestrelCLI {

void tellError(const Session& session, const ErrorReport& report) {
    session.say(report.message);
    if (!session.options.json) return;
    JSONOutput json{session.out};
    json.beginObject("error");
    json.member("code", report.code);
    json.member("message", report.message);
    json.member("path", report.path);
    json.endObject();
    if (report.kept) writeSnapshot(json, "snapshot", *report.kept);
    json.finish();
}

}  // namespace KestrelCLI
