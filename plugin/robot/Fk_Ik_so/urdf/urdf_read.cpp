// Parsing URDF text with urdfdom without letting it print, reading files, and the C++
// functions of arm_urdf.h.
#include <console_bridge/console.h>
#include <urdf_parser/urdf_parser.h>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <mutex>
#include <system_error>

#include "arm_urdf.h"
#include "urdf_chain.h"

namespace fk_ik {

namespace {

// urdfdom reports through console_bridge, whose output handler is process-wide and prints
// to stderr by default. While a text is parsed this handler takes the reports instead:
// errors go into the message, the rest is dropped. It is never destroyed, because
// console_bridge keeps a pointer to it as its previous handler once the host's is put
// back. Reports another thread of the host makes during a parse land here too.
class Reports : public console_bridge::OutputHandler {
 public:
  void log(const std::string& text, console_bridge::LogLevel level, const char*, int) override {
    if (level < console_bridge::CONSOLE_BRIDGE_LOG_ERROR) return;
    errors += (errors.empty() ? "" : "; ") + text;
  }
  std::string errors;
};

// Puts the host's handler back however the parse ends.
class Capture {
 public:
  explicit Capture(Reports& reports) : _host(console_bridge::getOutputHandler()) {
    reports.errors.clear();
    console_bridge::useOutputHandler(&reports);
  }
  ~Capture() { console_bridge::useOutputHandler(_host); }
  Capture(const Capture&) = delete;
  Capture& operator=(const Capture&) = delete;

 private:
  console_bridge::OutputHandler* _host;
};

Int32 readFile(const std::string& path, std::string& text, std::string* message) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  int error = file ? 0 : errno;
  if (file) {
    char buffer[1 << 16];
    size_t count;
    while ((count = std::fread(buffer, 1, sizeof buffer, file)) > 0) text.append(buffer, count);
    if (std::ferror(file)) error = errno;
    std::fclose(file);
  }
  if (error == 0) return Arm_Ok;
  if (message) {
    *message = "cannot read '" + path + "': " + std::generic_category().message(error);
  }
  return Arm_Unreadable;
}

Int32 build(Int32 code, const ArmDescription& description, Arm& arm, std::string* message) {
  return code == Arm_Ok ? Arm::build(description, arm, message) : code;
}

}  // namespace

Int32 armDescriptionFromUrdf(const std::string& xml, const std::string& baseLink,
                             const std::string& tipLink, ArmDescription& description,
                             std::string* message) {
  static std::mutex parsing;
  static Reports* const reports = new Reports;
  urdf::ModelInterfaceSharedPtr model;
  std::string errors;
  {
    const std::lock_guard<std::mutex> lock(parsing);
    const Capture capture(*reports);
    try {
      model = urdf::parseURDF(xml);
    } catch (const std::exception& e) {
      reports->log(e.what(), console_bridge::CONSOLE_BRIDGE_LOG_ERROR, "", 0);
    }
    errors.swap(reports->errors);
  }
  if (!model) {
    if (message) {
      *message =
          "the URDF parser refused the text: " + (errors.empty() ? "it gave no reason" : errors);
    }
    return Arm_Invalid;
  }
  const Int32 code = describeUrdfChain(*model, baseLink, tipLink, description, message);
  // The parser accepts a loop of links apart from the root; its links hold each other as
  // children and are freed only once those references are cut.
  for (const auto& link : model->links_) link.second->child_links.clear();
  return code;
}

Int32 armDescriptionFromUrdfFile(const std::string& path, const std::string& baseLink,
                                 const std::string& tipLink, ArmDescription& description,
                                 std::string* message) {
  std::string xml;
  const Int32 code = readFile(path, xml, message);
  return code == Arm_Ok ? armDescriptionFromUrdf(xml, baseLink, tipLink, description, message)
                        : code;
}

Int32 armFromUrdf(const std::string& xml, const std::string& baseLink, const std::string& tipLink,
                  Arm& arm, std::string* message) {
  ArmDescription description;
  return build(armDescriptionFromUrdf(xml, baseLink, tipLink, description, message), description,
               arm, message);
}

Int32 armFromUrdfFile(const std::string& path, const std::string& baseLink,
                      const std::string& tipLink, Arm& arm, std::string* message) {
  ArmDescription description;
  return build(armDescriptionFromUrdfFile(path, baseLink, tipLink, description, message),
               description, arm, message);
}

}  // namespace fk_ik
