declare module 'parts/*.iife' {
  const text: string;
  export default text;
}
declare module 'parts/*.wasm' {
  const bytes: Uint8Array<ArrayBuffer>;
  export default bytes;
}
declare module 'parts/*.jpg' {
  const url: string;
  export default url;
}
