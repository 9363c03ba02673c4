#pragma once

#include "host/data_table.hpp"
#include "host/document_store.hpp"
#include "host/message_output.hpp"
#include "host/output_sink.hpp"
#include "host/probability.hpp"
#include "host/progress.hpp"
#include "host/random_source.hpp"
#include "host/settings.hpp"
#include "host/step_machinery.hpp"
#include "host/xml_document.hpp"

namespace mspc {

/// Everything the module asks of its host. The host fills it in and hands it to the analysis
/// object before the first step; the pointers stay valid for the analysis's life. `table` may
/// be replaced when the host's input file changes.
struct HostServices {
  StepMachinery* steps = nullptr;
  ProgressMonitor* progress = nullptr;
  Settings* settings = nullptr;
  MessageOutput* messages = nullptr;
  DataTable* table = nullptr;
  ProbabilityFunctions* probability = nullptr;
  RandomSource* random = nullptr;
  OutputSink* output = nullptr;
  XmlParser* xml = nullptr;
  DocumentStore* documents = nullptr;
  /// Whether the analysis runs under automation (a script): informative notes are not shown.
  bool automation = false;
};

}  // namespace mspc
