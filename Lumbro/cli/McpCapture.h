#pragma once

#include "LumbroCore/Failure.h"
#include "cli/CaptureJson.h"
#include "cli/Output.h"
#include "library/LinkFence.h"
#include "mcp/McpTool.h"

#include <QString>
#include <QStringList>

namespace lumbro::cli {

/// One capture as the tool `read_capture` gives it. Reads its files when asked.
class McpCapture {
  public:
    /// `output` says how text looks; it and `fence` must outlive this.
    McpCapture(const Output& output, const LinkFence& fence, const CaptureRecord& record);

    /// A part: "transcript", "notes" or "handoff" (of one engine, or of all when that is empty); all for an
    /// empty part. Fails with a sentence when there is no such part, and when a file of the capture is a link
    /// that leads out of the library.
    Result<McpToolResult> read(const QString& part, const QString& engine) const;
    /// The sentence for a capture that leads out of the library.
    static QString leadsOut(const QString& id);

  private:
    Result<McpToolResult> readPart(const CaptureDetails& details, const QString& part,
                                   const QString& engine) const;
    Result<McpToolResult> readHandoffs(CaptureDetails details, const QString& engine) const;

    const Output& m_output;
    const LinkFence& m_fence;
    CaptureRecord m_record;
};

}  // namespace lumbro::cli
