#include "platform/host_runtime.hpp"

#include <filesystem>
#include <memory>
#include <ostream>
#include <utility>

#include "frame/exports.hpp"
#include "frame/mspc.hpp"
#include "platform/boost_probability.hpp"
#include "platform/file_document_store.hpp"
#include "platform/file_io.hpp"
#include "platform/html_report_writer.hpp"
#include "platform/json_report_sink.hpp"
#include "platform/json_settings.hpp"
#include "platform/pugi_xml_parser.hpp"
#include "platform/recording_message_output.hpp"
#include "platform/seeded_random.hpp"
#include "platform/table_loader.hpp"
#include "platform/terminal_progress.hpp"
#include "platform/xlsx_report_writer.hpp"

namespace mspc::platform {
namespace {

namespace fs = std::filesystem;

// A relative data path is taken from the working folder, or else from the script's folder, so
// that a script runs both from the repository root and from beside its data.
std::string ResolveDataPath(const std::string& data, const std::string& script_path) {
  if (data.empty() || fs::path(data).is_absolute() || fs::exists(data) || script_path.empty()) {
    return data;
  }
  const fs::path beside = fs::path(script_path).parent_path() / data;
  return fs::exists(beside) ? beside.string() : data;
}

std::optional<Script> LoadScript(const RunRequest& request, MessageOutput& messages) {
  if (request.script) return request.script;
  std::string text;
  std::string error;
  constexpr int kMaxScriptMegabytes = 64;
  if (!ReadWholeFile(request.script_path, &text, &error, kMaxScriptMegabytes)) {
    messages.Show(MessageKind::kStop, MessageId::kScriptUnreadable, error);
    return std::nullopt;
  }
  ScriptParseResult parsed = ParseScript(text, request.script_path);
  if (!parsed.script) {
    messages.Show(MessageKind::kStop, MessageId::kScriptUnreadable, parsed.error);
    return std::nullopt;
  }
  return std::move(parsed.script);
}

// Everything a run leaves behind, written whatever the run's outcome.
void WriteOutputs(const RunRequest& request,
                  const JsonReportSink& reports,
                  RecordingMessageOutput& messages,
                  const Script* recorded) {
  std::error_code folder_error;
  fs::create_directories(request.out_dir, folder_error);
  std::string error;
  auto note_failure = [&](const std::string& path) {
    messages.Show(MessageKind::kWarning,
                  MessageId::kOutputNotWritten,
                  FormatMessage(MessageId::kOutputNotWritten, path, error));
  };
  if (request.formats.json) {
    const std::string path = (fs::path(request.out_dir) / "reports.json").string();
    if (!reports.Write(path, &error)) note_failure(path);
  }
  if (request.formats.xlsx) {
    const std::string path = (fs::path(request.out_dir) / "report.xlsx").string();
    if (!WriteWorkbook(reports.reports(), path, &error)) note_failure(path);
  }
  if (request.formats.html) {
    const std::string path = (fs::path(request.out_dir) / "report.html").string();
    HtmlReportOptions options;
    options.workbook_written = request.formats.xlsx;
    if (!WriteHtmlReport(reports.reports(), path, options, &error)) note_failure(path);
  }
  if (recorded != nullptr && !request.record_path.empty()) {
    if (!WriteFileAtomically(request.record_path, ScriptToText(*recorded), &error)) {
      note_failure(request.record_path);
    }
  }
  // The messages go last so that a failure to write another output is among them.
  const std::string path = (fs::path(request.out_dir) / "messages.json").string();
  if (!messages.Write(path, &error)) note_failure(path);
}

}  // namespace

RunStatus RunAnalysis(const RunRequest& request, std::ostream& err) {
  RecordingMessageOutput messages(&err);
  JsonReportSink reports;
  std::optional<Script> script = LoadScript(request, messages);
  if (!script) {
    WriteOutputs(request, reports, messages, nullptr);
    return RunStatus::kInputError;
  }

  TableOptions table_options;
  table_options.categorical = script->categorical;
  table_options.selection = script->select;
  table_options.weight_variable = script->weight;
  const std::string data_path = ResolveDataPath(
      request.data_override.empty() ? script->data : request.data_override, request.script_path);
  TableLoadResult loaded = LoadTable(data_path, table_options);
  if (!loaded.table) {
    messages.Show(MessageKind::kStop, MessageId::kDataFileUnreadable, loaded.error);
    WriteOutputs(request, reports, messages, nullptr);
    return RunStatus::kInputError;
  }

  if (request.complete_script) request.complete_script(*script, *loaded.table);

  ScriptStepMachinery machinery;
  TerminalProgress progress(request.progress_on_terminal, &err);
  MessagesBesideProgress shown_messages(messages, progress);
  JsonSettings settings(JsonSettings::DefaultPath());
  BoostProbability probability;
  SeededRandom random;
  PugiXmlParser xml;
  FileDocumentStore documents(request.out_dir);

  HostServices services;
  services.steps = &machinery;
  services.progress = &progress;
  services.settings = &settings;
  services.messages = &shown_messages;
  services.table = loaded.table.get();
  services.probability = &probability;
  services.random = &random;
  services.output = &reports;
  services.xml = &xml;
  services.documents = &documents;
  services.automation = request.automation;

  std::unique_ptr<CMSPC> analysis(script->analysis == "simple" ? Kvs6NewAnalysisSimple()
                                                               : Kvs6NewAnalysis());
  if (!analysis) {
    messages.Show(MessageKind::kStop,
                  MessageId::kMemoryAllocationFailed,
                  std::string(MessageText(MessageId::kMemoryAllocationFailed)));
    WriteOutputs(request, reports, messages, nullptr);
    return RunStatus::kStopped;
  }
  analysis->InitCommons(services);

  Script recorded;
  recorded.data = data_path;
  recorded.analysis = script->analysis;
  recorded.select = script->select;
  recorded.weight = script->weight;
  recorded.categorical = script->categorical;
  const std::string script_name =
      request.script_path.empty() ? request.script_name : request.script_path;
  ScriptRunner runner(services, machinery, script_name);
  RunStatus status = runner.Run(*script, request.record_path.empty() ? nullptr : &recorded);
  // A cancel makes the run a cancelled one, also when the model absorbed it (it keeps the
  // components accepted before it and the run goes on to their reports).
  if (status != RunStatus::kInputError && TerminalProgress::CancelPending()) {
    status = RunStatus::kCancelled;
  }

  // The open dialog belongs to the analysis's steps; close it before the analysis goes.
  machinery.CloseDialog();
  progress.Stop();
  analysis.reset();
  WriteOutputs(request, reports, messages, request.record_path.empty() ? nullptr : &recorded);
  return status;
}

}  // namespace mspc::platform
