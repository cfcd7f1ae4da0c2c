import com.acme.DcMotor;
import com.zelvox.qorbetta.Model;
import com.zelvox.qorbetta.Variable;
import com.zelvox.qorbetta.ZelvoxSim;
import java.util.List;

/**
 * Steps the demonstration model as it stands, through ZelvoxSim, and written by index, with the
 * communication step of its default experiment. Each method answers the nanoseconds that its steps
 * took.
 */
public final class StepLoops {
    private static final char[] NAME = "motor".toCharArray();
    private static final int BATCH = 100;

    private static final double[] inputs = {12, 0.05};
    private static final double[] outputs = new double[2];
    private static final Model model = started(new DcMotor());
    private static final Model indexModel = started(new IndexMotor());
    private static final double stepSize = new DcMotor().describe().stepSize();
    private static final ZelvoxSim sim = ZelvoxSim.create();
    private static long directSteps;
    private static long indexSteps;
    private static long hostedSteps;
    private static double sink;

    private StepLoops() {
    }

    private static Model started(Model started) {
        try {
            List<Variable> parameters = started.describe().parameters();
            for (int i = 0; i < parameters.size(); i++) {
                started.set(i, parameters.get(i).start());
            }
            started.initialize(inputs, outputs);
            return started;
        } catch (Exception e) {
            throw new ExceptionInInitializerError(e);
        }
    }

    static {
        String name = new String(NAME);
        if (!sim.doInstantiate(name, "") || !sim.doSetupExperiment(name, 0, false, 0)
                || !sim.doInitializeModel(name)) {
            throw new IllegalStateException(sim.getLasterror());
        }
    }

    static long direct(long steps) throws Exception {
        long begin = System.nanoTime();
        for (long i = 0; i < steps; i++) {
            model.step(directSteps++ * stepSize, stepSize, inputs, outputs);
            sink += outputs[0];
        }
        return System.nanoTime() - begin;
    }

    static long byIndex(long steps) throws Exception {
        long begin = System.nanoTime();
        for (long i = 0; i < steps; i++) {
            indexModel.step(indexSteps++ * stepSize, stepSize, inputs, outputs);
            sink += outputs[0];
        }
        return System.nanoTime() - begin;
    }

    /**
     * The four calls that a step of the library makes. Each brings a name of its own, as JNI does,
     * whose hash nobody has computed yet; making them is not counted.
     */
    static long hosted(long steps) {
        long spent = 0;
        String[] names = new String[4 * BATCH];
        for (long done = 0; done < steps; done += BATCH) {
            for (int i = 0; i < names.length; i++) {
                names[i] = new String(NAME);
            }
            int count = (int) Math.min(BATCH, steps - done);
            long begin = System.nanoTime();
            for (int i = 0; i < 4 * count; i += 4) {
                sink += sim.getProp(names[i], "number_of_inputs").length();
                sink += sim.getProp(names[i + 1], "number_of_outputs").length();
                if (!sim.doStepModel(names[i + 2], hostedSteps++ * stepSize, stepSize, inputs)) {
                    throw new IllegalStateException(sim.getLasterror());
                }
                sink += sim.getData(names[i + 3])[0];
            }
            spent += System.nanoTime() - begin;
        }
        return spent;
    }
}
