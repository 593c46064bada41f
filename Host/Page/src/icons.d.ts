// Made by build.mjs from src/icons/*.svg: each picture's markup by its file's name.
declare module 'icons' {
  const pictures: Record<string, string>;
  export default pictures;
}
