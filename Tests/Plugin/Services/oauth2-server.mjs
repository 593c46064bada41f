// A provider written by others, for AFOAuth2Manager. Prints its port, and ends with its input. Its first argument is the
// folder whose npm packages it may use.
import { createRequire } from 'node:module';
import { join } from 'node:path';

const { OAuth2Server } = createRequire(join(process.argv[2], 'package.json'))('oauth2-mock-server');
const server = new OAuth2Server();
await server.issuer.keys.generate('RS256');
server.service.on('beforeResponse', (response, { body }) => {
  // What good providers do besides: refuse, or leave the refresh token as it was.
  if (body.password === 'wrong') Object.assign(response, { statusCode: 400, body: { error: 'invalid_grant' } });
  if (body.refresh_token === 'kept') delete response.body.refresh_token;
});
await server.start(0, '127.0.0.1');
process.stdout.write(`${server.address().port}\n`);
process.stdin.resume().on('end', () => process.exit(0));
