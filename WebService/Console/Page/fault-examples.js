// Faults that can be inserted into a plan.

const STREAM = "Uploads.svc/GetTopFileUploadWithStream";
export const EXAMPLES = {
  "Reset a download": { path: STREAM, times: 1, action: { kind: "reset", afterBytes: 1000000 } },
  "Close a download early": { path: STREAM, times: 1, action: { kind: "close", afterBytes: 1000000 } },
  "Stall a download": { path: STREAM, times: 1, action: { kind: "stall", afterBytes: 1000000, seconds: 60 } },
  "Delay every response": { action: { kind: "delay", seconds: 3 } },
  "Throttle downloads": { path: STREAM, action: { kind: "throttle", bytesPerSecond: 100000 } },
  "Respond with a status": { path: "Uploads.svc/*", times: 3, action: { kind: "status", code: 503, body: "busy" } },
  "Replace a body": { path: "Uploads.svc/GetTopFileUpload", times: 1, action: { kind: "body", text: "no JSON" } },
  "Change header fields": { path: STREAM, action: { kind: "headers", set: { "X-Test": "1" }, remove: ["FileUploadID"] } },
  "Corrupt a byte": { path: STREAM, times: 1, action: { kind: "corrupt", atByte: 1000 } },
};
