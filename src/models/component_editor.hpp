#pragma once

#include <optional>

#include "host/messages.hpp"

namespace mspc {

/// What the component commands of a Results dialog change: the accepted components of a fitted
/// model. Every model kind with a Results dialog answers these the same way.
class ComponentEditor {
 public:
  virtual ~ComponentEditor() = default;

  /// The number of accepted components.
  virtual int ComponentCount() const = 0;
  /// Fit the next component and keep it; the message of a refusal when none can be added.
  virtual std::optional<MessageId> AddNextComponent() = 0;
  /// Drop the last component; false when there is none.
  virtual bool RemoveLastComponent() = 0;
  /// Drop every component.
  virtual void RemoveAllComponents() = 0;
  /// Fit further components under the model's stopping rules; how many were added, with the
  /// stopping rule's message in `refusal` when none.
  virtual int AutoFitMoreComponents(std::optional<MessageId>& refusal) = 0;
};

}  // namespace mspc
