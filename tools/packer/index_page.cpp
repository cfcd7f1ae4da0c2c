#include "packer/index_page.h"

#include <pugixml.hpp>
#include <sstream>
#include <string_view>

#include "words/numbers.h"

namespace {

pugi::xml_node appendText(pugi::xml_node parent, const char* element, const std::string& text) {
  pugi::xml_node node = parent.append_child(element);
  node.text() = text.c_str();
  return node;
}

std::string rangeOf(const ScalarVariable& variable) {
  if (!variable.min && !variable.max) return "";
  return (variable.min ? numberText(*variable.min) : "") + " \u2026 " +
         (variable.max ? numberText(*variable.max) : "");
}

void appendVariables(pugi::xml_node body, const ModelDescription& model, const char* title,
                     std::string_view causality) {
  pugi::xml_node table;
  for (const ScalarVariable& variable : model.variables) {
    if (variable.causality != causality) continue;
    if (table.empty()) {
      appendText(body, "h2", title);
      table = body.append_child("table");
      pugi::xml_node head = table.append_child("tr");
      for (const char* column : {"Name", "Unit", "Start", "Range", "Description"}) {
        appendText(head, "th", column);
      }
    }
    pugi::xml_node row = table.append_child("tr");
    appendText(row.append_child("td"), "code", variable.name);
    appendText(row, "td", variable.unit);
    appendText(row, "td", variable.start ? numberText(*variable.start) : "");
    appendText(row, "td", rangeOf(variable));
    appendText(row, "td", variable.description);
  }
}

void appendFacts(pugi::xml_node body, const ModelDescription& model) {
  pugi::xml_node list = body.append_child("dl");
  const auto append = [&list](const char* term, const std::string& fact) {
    if (fact.empty()) return;
    appendText(list, "dt", term);
    appendText(list, "dd", fact);
  };
  append("Author", model.author);
  append("Version", model.version);
  append("Copyright", model.copyright);
  append("Licence", model.license);
  if (model.stopTime && model.startTime && model.stepSize) {
    append("Experiment", numberText(*model.startTime) + " s to " + numberText(*model.stopTime) +
                             " s in steps of " + numberText(*model.stepSize) + " s");
  }
  append("Made by", model.generationTool);
}

void appendHowToRun(pugi::xml_node body, const std::string& file) {
  appendText(body, "h2", "How to run it");
  appendText(body, "p",
             "This FMU (FMI 2.0, co-simulation, 64-bit Linux) holds a model in Java. It needs a "
             "Java virtual machine in the process of the importer, with zelvox.jar on its class "
             "path; the model itself is in the FMU. The command zelvox provides both, for itself "
             "and for importers that know nothing of Java:");
  appendText(body, "pre",
             "zelvox simulate " + file + "\nzelvox exec -- fmpy simulate " + file + "\n");
}

}  // namespace

std::string indexHtml(const ModelDescription& model, const std::string& file) {
  pugi::xml_document document;
  document.append_child(pugi::node_doctype).set_value("html");
  pugi::xml_node html = document.append_child("html");
  html.append_attribute("lang") = "en";
  pugi::xml_node head = html.append_child("head");
  head.append_child("meta").append_attribute("charset") = "utf-8";
  appendText(head, "title", model.modelName);
  appendText(head, "style",
             "body { font-family: sans-serif; max-width: 60em; margin: 2em auto; padding: 0 1em } "
             "table { border-collapse: collapse } "
             "th, td { border: 1px solid #bbb; padding: 0.2em 0.6em; text-align: left } "
             "dt { float: left; clear: left; width: 8em; color: #555 } dd { margin-left: 8em } "
             "pre { background: #f4f4f4; padding: 0.6em }");
  pugi::xml_node body = html.append_child("body");
  appendText(body, "h1", model.modelName);
  if (!model.description.empty()) appendText(body, "p", model.description);
  appendFacts(body, model);
  appendVariables(body, model, "Inputs", "input");
  appendVariables(body, model, "Outputs", "output");
  appendVariables(body, model, "Parameters", "parameter");
  appendHowToRun(body, file);
  std::ostringstream text;
  document.save(text, "  ", pugi::format_default | pugi::format_no_declaration);
  return text.str();
}
